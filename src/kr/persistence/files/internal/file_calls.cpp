#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

#include "kr/persistence/files/internal/file_calls.h"

namespace KrPersistence::detail {

namespace {

constinit std::atomic<FileCalls*> replacement{nullptr};

}  // namespace

FileCalls::FileCalls() = default;

FileCalls::~FileCalls() = default;

int FileCalls::open(const char* path, int flags, unsigned int mode) {
    return ::open(path, flags, mode);
}

ssize_t FileCalls::write(int file, const char* bytes, std::size_t count) {
    return ::write(file, bytes, count);
}

int FileCalls::fsync(int file) {
    return ::fsync(file);
}

int FileCalls::close(int file) {
    return ::close(file);
}

int FileCalls::rename(const char* from, const char* to) {
    return std::rename(from, to);
}

int FileCalls::lock(int file) {
    return ::flock(file, LOCK_EX | LOCK_NB);
}

FileCalls& FileCalls::current() noexcept {
    static auto& real = *new FileCalls;
    FileCalls* const calls = replacement.load();
    return calls != nullptr ? *calls : real;
}

void FileCalls::replace(FileCalls* calls) noexcept {
    replacement.store(calls);
}

}  // namespace KrPersistence::detail
