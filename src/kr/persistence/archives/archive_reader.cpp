#include "kr/persistence/archives/archive_reader.h"

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/archive_writer.h"

namespace KrPersistence {

ArchiveReader::~ArchiveReader() = default;

void ArchiveReader::report(Finding::eKind kind, const std::string& text) {
    _state.getFindings().push_back({kind, text, getArchiveName(), getLine()});
}

void ArchiveReader::setKnownNames(std::span<const std::string>) {}

std::size_t ArchiveReader::getLine() const {
    return 0;
}

const std::string& ArchiveReader::getArchiveName() const {
    return _state.getArchiveName();
}

void ArchiveReader::pushObject(Kr::KrBase* object) {
    _state.pushObject(object);
}

void ArchiveReader::popObject() noexcept {
    _state.popObject();
}

Kr::KrBase* ArchiveReader::getCurrentObject() const {
    return _state.getCurrentObject();
}

void ArchiveReader::_enter(std::string_view name) {
    if (_depth >= ArchiveWriter::kDeepestNesting) {
        fail("'" + std::string(name) + "' lies more than " + std::to_string(ArchiveWriter::kDeepestNesting) +
             " groups deep");
    }
    ++_depth;
    beginGroup(name);
}

void ArchiveReader::_leave() {
    endGroup();
    --_depth;
}

}  // namespace KrPersistence
