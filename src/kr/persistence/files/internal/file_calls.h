#pragma once

#include <sys/types.h>

#include <cstddef>

#include "kr/platform/export.h"

namespace KrPersistence::detail {

/// The calls of the operating system that write files: each as the function of its name, with errno. For tests.
/// Thread: any; replace while no file is saved. Ownership: borrowed by replace.
class KR_API FileCalls {
public:
    FileCalls();
    FileCalls(const FileCalls&) = delete;
    FileCalls& operator=(const FileCalls&) = delete;
    virtual ~FileCalls();

    virtual int open(const char* path, int flags, unsigned int mode);
    virtual ssize_t write(int file, const char* bytes, std::size_t count);
    virtual int fsync(int file);
    virtual int close(int file);
    virtual int rename(const char* from, const char* to);
    /// flock: the only lock on the file, without waiting for it.
    virtual int lock(int file);

    /// The calls used by saving.
    [[nodiscard]] static FileCalls& current() noexcept;
    /// Null restores the real ones. Borrowed. Only while no file is saved.
    static void replace(FileCalls* calls) noexcept;
};

}  // namespace KrPersistence::detail
