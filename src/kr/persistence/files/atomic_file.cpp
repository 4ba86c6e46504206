#include "kr/persistence/files/internal/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

namespace KrPersistence::detail {

namespace {

constexpr std::size_t kBufferSize = std::size_t{64} << 10U;

/// Whether an earlier save of this user left the file.
bool isLeftOver(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid();
}

}  // namespace

AtomicFile::AtomicFile(std::string target)
    : _target(std::move(target)), _temporaryName(_target + ".temp"), _buffer(kBufferSize) {
    setp(_buffer.data(), _buffer.data() + _buffer.size());
}

AtomicFile::~AtomicFile() {
    _close();
    if (_mustRemove) ::unlink(_temporaryName.c_str());
}

bool AtomicFile::open() {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    constexpr unsigned int kMode = 0666;
    _file = _calls.open(_temporaryName.c_str(), kFlags, kMode);
    if (_file < 0 && errno == EEXIST) {
        if (!isLeftOver(_temporaryName)) return _fail(EEXIST);
        ::unlink(_temporaryName.c_str());
        _file = _calls.open(_temporaryName.c_str(), kFlags, kMode);
    }
    if (_file < 0) return _fail(errno);
    _mustRemove = true;
    struct stat status {};
    if (::fstat(_file, &status) != 0) return _fail(errno);
    _inode = status.st_ino;
    return true;
}

AtomicFile::eOutcome AtomicFile::commit() {
    struct stat status {};
    if (::stat(_target.c_str(), &status) == 0) (void)::fchmod(_file, status.st_mode & 0777U);
    if (sync() != 0) return eOutcome::kNotWritten;
    if (_calls.fsync(_file) != 0) {
        _fail(errno);
        return eOutcome::kNotWritten;
    }
    if (!_close() || !_isStillOurs()) return eOutcome::kNotWritten;
    if (!_mayReplaceTarget()) return eOutcome::kNotReplaced;
    if (_calls.rename(_temporaryName.c_str(), _target.c_str()) != 0) {
        _fail(errno);
        return eOutcome::kNotReplaced;
    }
    _mustRemove = false;
    return _flushFolder() ? eOutcome::kDone : eOutcome::kFolderNotFlushed;
}

AtomicFile::int_type AtomicFile::overflow(int_type byte) {
    if (sync() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(byte, traits_type::eof())) sputc(traits_type::to_char_type(byte));
    return traits_type::not_eof(byte);
}

std::streamsize AtomicFile::xsputn(const char* bytes, std::streamsize count) {
    const auto size = static_cast<std::size_t>(count);
    if (size < static_cast<std::size_t>(epptr() - pptr())) {
        traits_type::copy(pptr(), bytes, size);
        pbump(static_cast<int>(size));
        return count;
    }
    return sync() == 0 && _write(bytes, size) ? count : 0;
}

int AtomicFile::sync() {
    const bool isWritten = _write(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    setp(_buffer.data(), _buffer.data() + _buffer.size());
    return isWritten ? 0 : -1;
}

bool AtomicFile::_write(const char* bytes, std::size_t count) {
    if (_error) return false;
    while (count > 0) {
        const ssize_t written = _calls.write(_file, bytes, count);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return _fail(written < 0 ? errno : EIO);
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

bool AtomicFile::_close() {
    if (_file < 0) return true;
    // Interrupted, it is closed all the same.
    return _calls.close(std::exchange(_file, -1)) == 0 || errno == EINTR || _fail(errno);
}

// Another process may have taken our file for one left behind.
bool AtomicFile::_isStillOurs() {
    struct stat status {};
    if (::lstat(_temporaryName.c_str(), &status) == 0 && status.st_ino == _inode) return true;
    _mustRemove = false;
    return _fail(EBUSY);
}

// Renaming would replace a device or a socket, too.
bool AtomicFile::_mayReplaceTarget() {
    struct stat status {};
    if (::lstat(_target.c_str(), &status) != 0) return true;
    return S_ISREG(status.st_mode) || S_ISLNK(status.st_mode) || _fail(S_ISDIR(status.st_mode) ? EISDIR : EEXIST);
}

bool AtomicFile::_flushFolder() {
    const auto parent = std::filesystem::path(_target).parent_path();
    const int folder = _calls.open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    if (folder < 0) return _fail(errno);
    // Some file systems do not flush folders.
    const bool isFlushed = _calls.fsync(folder) == 0 || errno == EINVAL || _fail(errno);
    _calls.close(folder);
    return isFlushed;
}

bool AtomicFile::_fail(int error) {
    if (!_error) _error.assign(error, std::generic_category());
    return false;
}

}  // namespace KrPersistence::detail
