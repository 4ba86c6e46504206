#include "kr/persistence/files/file_section.h"

namespace KrPersistence {

KrFileSection::KrFileSection() = default;

KrFileSection::~KrFileSection() = default;

void KrFileSection::prepareBeforeSaving(KrFile* file, int /*flags*/) {
    declareReferencableObjects(file);
}

void KrFileSection::declareReferencableObjects(KrFile* /*file*/) {}

void KrFileSection::postLoad(KrFile* /*file*/) {}
void KrFileSection::_onLoaded() noexcept {}

void KrFileSection::setOwner(KrFile* file) {
    _owner = file;
}

}  // namespace KrPersistence
