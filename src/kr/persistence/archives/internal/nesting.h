#pragma once

#include <cstddef>
#include <string>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/archive_error.h"

namespace KrPersistence::detail {

/// One more level of nested objects during its lifetime; the stack of the thread must suffice for all levels.
class Nesting {
public:
    Nesting(std::size_t& depth, const char* archive) : _depth(depth) {
        if (_depth >= KrArchive::kDeepestNesting) {
            throw ArchiveError(ArchiveError::other_exception,
                               std::string(archive) + ": objects lie more than " +
                                   std::to_string(KrArchive::kDeepestNesting) +
                                   " deep inside one another; archive them side by side");
        }
        ++_depth;
    }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ~Nesting() { --_depth; }

private:
    std::size_t& _depth;
};

}  // namespace KrPersistence::detail
