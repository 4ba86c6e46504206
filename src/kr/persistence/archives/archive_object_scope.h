#pragma once

#include "kr/core/fwd.h"

namespace KrPersistence {

/// Makes an object the current one of an archive during its lifetime. For any archive with pushObject and popObject.
template <class Archive>
class ArchiveObjectScope {
public:
    /// Archive and object are borrowed; the archive must outlive the scope.
    ArchiveObjectScope(Archive& archive, Kr::KrBase* object) : _archive(archive) { _archive.pushObject(object); }
    ArchiveObjectScope(const ArchiveObjectScope&) = delete;
    ArchiveObjectScope& operator=(const ArchiveObjectScope&) = delete;
    ~ArchiveObjectScope() { _archive.popObject(); }

private:
    Archive& _archive;
};

}  // namespace KrPersistence
