#include "kr/persistence/archives/archive_writer.h"

#include "kr/persistence/archives/archive_error.h"

namespace KrPersistence {

ArchiveWriter::~ArchiveWriter() = default;

void ArchiveWriter::_enter(std::string_view name) {
    if (_depth >= kDeepestNesting) {
        throw ArchiveError(ArchiveError::other_exception, "ArchiveWriter: '" + std::string(name) + "' lies more than " +
                                                              std::to_string(kDeepestNesting) +
                                                              " groups deep; make the tree flatter");
    }
    ++_depth;
    beginGroup(name);
}

void ArchiveWriter::_leave() {
    endGroup();
    --_depth;
}

}  // namespace KrPersistence
