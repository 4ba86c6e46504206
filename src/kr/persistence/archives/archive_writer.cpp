#include "kr/persistence/archives/archive_writer.h"

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/archive_error.h"

namespace KrPersistence {

ArchiveWriter::~ArchiveWriter() = default;

const std::string& ArchiveWriter::getArchiveName() const {
    return _state.getArchiveName();
}

void ArchiveWriter::pushObject(Kr::KrBase* object) {
    _state.pushObject(object);
}

void ArchiveWriter::popObject() noexcept {
    _state.popObject();
}

Kr::KrBase* ArchiveWriter::getCurrentObject() const {
    return _state.getCurrentObject();
}

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
