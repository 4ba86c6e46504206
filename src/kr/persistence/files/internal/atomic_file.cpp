#include "kr/persistence/files/internal/atomic_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

namespace KrPersistence::detail {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBufferSize = std::size_t{64} << 10U;
constexpr int kMostLinks = 40;
// Each new attempt means that another process has saved or given up in between.
constexpr int kMostAttempts = 100;
constexpr const char* kIsBeingSaved = "another process is saving this file";

/// Whether both are one file.
bool isSame(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

/// Whether the file of this number is what is found under the path.
bool isAt(int file, const std::string& path) {
    struct stat own {};
    struct stat found {};
    return ::fstat(file, &own) == 0 && ::lstat(path.c_str(), &found) == 0 && isSame(own, found);
}

/// Where all users may make files, links of others lead to what only the one who saves may overwrite.
bool mayBePlanted(const std::string& path, const struct stat& link) {
    struct stat folder {};
    const auto parent = fs::path(path).parent_path();
    if (::stat(parent.empty() ? "." : parent.c_str(), &folder) != 0) return true;
    const bool isForAll = (folder.st_mode & S_IWOTH) != 0;
    return isForAll && link.st_uid != ::geteuid() && link.st_uid != folder.st_uid;
}

}  // namespace

AtomicFile::AtomicFile(std::string target, eLinks links)
    : _target(std::move(target)), _links(links), _temporaryName(_target + ".temp"), _buffer(kBufferSize) {
    setp(_buffer.data(), _buffer.data() + _buffer.size());
}

AtomicFile::~AtomicFile() {
    // Before the lock is released: afterwards the name may belong to another process.
    if (_mustRemove && isAt(_file, _temporaryName)) ::unlink(_temporaryName.c_str());
    _close();
}

bool AtomicFile::resolve() {
    for (int links = 0; links <= kMostLinks; ++links) {
        struct stat status {};
        if (::lstat(_target.c_str(), &status) != 0) {
            if (links == 0) return true;  // a new file
            return _fail(errno, "it is a link to '" + _target + "', which cannot be reached");
        }
        if (S_ISREG(status.st_mode)) {
            _temporaryName = _target + ".temp";
            return true;
        }
        if (S_ISDIR(status.st_mode)) return _fail(EISDIR);
        if (!S_ISLNK(status.st_mode)) return _fail(EINVAL, "it is no regular file, but a device, pipe or socket");
        if (!_followLink(status)) return false;
    }
    return _fail(ELOOP);
}

bool AtomicFile::_followLink(const struct stat& link) {
    if (_links == eLinks::kRefuse) return _fail(ELOOP, "it is a link; simulation states are not saved through links");
    if (mayBePlanted(_target, link)) return _fail(ELOOP, "it is a link that another user has made");
    // A link of /proc to a pipe holds no path.
    struct stat status {};
    if (::stat(_target.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode))
        return _fail(EINVAL, "it is a link to a device, pipe or socket");
    std::error_code error;
    const auto next = fs::read_symlink(_target, error);
    if (error) return _fail(error.value());
    _target = (fs::path(_target).parent_path() / next).string();
    return true;
}

bool AtomicFile::open() {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const eAttempt outcome = _create();
        if (outcome != eAttempt::kAgain) return outcome == eAttempt::kDone;
    }
    return _fail(EBUSY, kIsBeingSaved);
}

AtomicFile::eAttempt AtomicFile::_create() {
    _file = _calls.open(_temporaryName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (_file < 0 && errno == EEXIST) return _removeLeftOver();
    if (_file < 0) {
        const bool isTooLong = errno == ENAMETOOLONG && fs::path(_target).filename().string().size() <= NAME_MAX;
        _fail(errno, isTooLong ? "with '.temp' the name has more than " + std::to_string(NAME_MAX) +
                                     " bytes; use a shorter name"
                               : std::string());
        return eAttempt::kFailed;
    }
    const bool isLocked = _calls.lock(_file) == 0;
    // Between the two calls another process may have taken the file for one left behind.
    if (!isLocked && errno == EWOULDBLOCK) {
        _close();
        _fail(EBUSY, kIsBeingSaved);
        return eAttempt::kFailed;
    }
    if (!isAt(_file, _temporaryName)) {
        _close();
        return eAttempt::kAgain;
    }
    _mustRemove = true;
    return eAttempt::kDone;
}

AtomicFile::eAttempt AtomicFile::_removeLeftOver() {
    const auto fail = [this](int error, const char* reason = "") {
        _fail(error, reason);
        return eAttempt::kFailed;
    };
    struct stat status {};
    if (::lstat(_temporaryName.c_str(), &status) != 0) return errno == ENOENT ? eAttempt::kAgain : fail(errno);
    if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid()) return fail(EEXIST);

    constexpr int kFlags = O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
    // Some file systems lock only what may be written; what is left of a read-only file may only be read.
    _file = _calls.open(_temporaryName.c_str(), O_RDWR | kFlags, 0);
    if (_file < 0 && errno == EACCES) _file = _calls.open(_temporaryName.c_str(), O_RDONLY | kFlags, 0);
    if (_file < 0) return errno == ENOENT ? eAttempt::kAgain : fail(errno);
    const bool isLocked = _calls.lock(_file) == 0;
    const int error = errno;
    // Under the lock: each process that renames or removes a temporary file holds it.
    if (isLocked && isAt(_file, _temporaryName)) ::unlink(_temporaryName.c_str());
    _close();
    if (isLocked) return eAttempt::kAgain;
    if (error == EWOULDBLOCK) return fail(EBUSY, kIsBeingSaved);
    return fail(error, "an earlier save may have left it behind; remove it if nothing is being saved");
}

AtomicFile::eOutcome AtomicFile::commit() {
    const auto parent = fs::path(_target).parent_path();  // nothing may fail for lack of memory once it is replaced
    struct stat status {};
    if (::stat(_target.c_str(), &status) == 0) (void)::fchmod(_file, status.st_mode & 0777U);
    if (sync() != 0) return eOutcome::kNotWritten;
    if (_calls.fsync(_file) != 0) {
        _fail(errno);
        return eOutcome::kNotWritten;
    }
    if (!_checkClosing() || !_isStillOurs()) return eOutcome::kNotWritten;
    if (!_mayReplaceTarget()) return eOutcome::kNotReplaced;
    if (_calls.rename(_temporaryName.c_str(), _target.c_str()) != 0) {
        _fail(errno);
        return eOutcome::kNotReplaced;
    }
    _mustRemove = false;
    _close();
    return _flushFolder(parent.empty() ? "." : parent.c_str()) ? eOutcome::kDone : eOutcome::kFolderNotFlushed;
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

// The lock ends when the last descriptor of the file is closed: errors of closing are read from a second descriptor.
bool AtomicFile::_checkClosing() {
    const int copy = ::fcntl(_file, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) return _fail(errno);
    // Interrupted, it is closed all the same.
    return _calls.close(copy) == 0 || errno == EINTR || _fail(errno);
}

void AtomicFile::_close() {
    if (_file >= 0) _calls.close(std::exchange(_file, -1));
}

// A user may have removed it by hand.
bool AtomicFile::_isStillOurs() {
    if (isAt(_file, _temporaryName)) return true;
    _mustRemove = false;
    return _fail(EBUSY, "'" + _temporaryName + "' was removed while it was written");
}

// Renaming would replace a device, a socket or a link that has come since, too.
bool AtomicFile::_mayReplaceTarget() {
    struct stat status {};
    if (::lstat(_target.c_str(), &status) != 0) return true;
    return S_ISREG(status.st_mode) || _fail(S_ISDIR(status.st_mode) ? EISDIR : EEXIST);
}

bool AtomicFile::_flushFolder(const char* path) {
    const int folder = _calls.open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    if (folder < 0) return _fail(errno);
    // Some file systems do not flush folders.
    const bool isFlushed = _calls.fsync(folder) == 0 || errno == EINVAL || _fail(errno);
    _calls.close(folder);
    return isFlushed;
}

bool AtomicFile::_fail(int error, std::string reason) {
    if (_error) return false;
    _error.assign(error, std::generic_category());
    _reason = std::move(reason);
    return false;
}

}  // namespace KrPersistence::detail
