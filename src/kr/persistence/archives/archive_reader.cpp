#include "kr/persistence/archives/archive_reader.h"

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
