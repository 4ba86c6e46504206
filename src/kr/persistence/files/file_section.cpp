#include "kr/persistence/files/file_section.h"

#include <utility>

#include "kr/persistence/files/file.h"
#include "kr/persistence/files/named_file_section.h"

namespace KrPersistence {

KrFileSection::KrFileSection() = default;

KrFileSection::~KrFileSection() = default;

NamedFileSection::~NamedFileSection() = default;

void KrFileSection::prepareBeforeSaving(KrFile* file, int /*flags*/) {
    declareReferencableObjects(file);
}

void KrFileSection::declareReferencableObjects(KrFile* /*file*/) {}

void KrFileSection::postLoad(KrFile* /*file*/) {}
void KrFileSection::_onLoaded() noexcept {}

void KrFileSection::_reportProgress(std::size_t done, std::size_t total) const {
    if (_owner != nullptr) _owner->_reportProgress(done, total);
}

void KrFileSection::_addFinding(Finding finding) {
    if (_owner != nullptr) _owner->_findings.push_back(std::move(finding));
}

bool KrFileSection::_endsHere(const std::string& reason) {
    return _owner != nullptr && _owner->_endsHere(reason);
}

void KrFileSection::setOwner(KrFile* file) {
    _owner = file;
}

}  // namespace KrPersistence
