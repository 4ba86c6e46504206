#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <streambuf>
#include <string>
#include <system_error>
#include <vector>

#include "kr/persistence/files/internal/file_calls.h"

namespace KrPersistence::detail {

/// Writes a file beside its target, as "<target>.temp", which then replaces the target in one step. Until then the
/// target is not changed; the destructor removes an uncommitted file.
///
/// The temporary file is locked from its creation to its renaming, so that of two saves over one target the second
/// fails, and only a file of a dead process is taken over. File systems without locks have no such take-over.
///
/// As a stream buffer it only writes, and never throws: after the first failure it accepts no more bytes, and getReason
/// returns the reason.
class AtomicFile final : public std::streambuf {
public:
    enum class eLinks : std::uint8_t {
        kFollow,  ///< the target of a link is replaced; not where another user may have placed the link
        kRefuse,
    };
    enum class eOutcome : std::uint8_t {
        kDone,
        kNotWritten,        ///< not all bytes are on disk
        kNotReplaced,       ///< all bytes are on disk, but the target could not be replaced
        kFolderNotFlushed,  ///< replaced; the replacement may be lost if the power fails now
    };

    explicit AtomicFile(std::string target, eLinks links = eLinks::kFollow);
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;
    ~AtomicFile() override;

    /// Finds the file to replace, which need not exist. False for files that no save may replace: folders, devices,
    /// pipes, and links that are not followed.
    bool resolve();
    /// After resolve. Removes the remains of an earlier save, but no link and no file of another user: these are
    /// refused, as is everything else of that name.
    bool open();
    /// Flushes all bytes to disk and replaces the target, whose permissions the new file gets.
    eOutcome commit();

    [[nodiscard]] bool hasFailed() const noexcept { return static_cast<bool>(_error); }
    /// The reason of the first failure.
    [[nodiscard]] std::string getReason() const { return _reason.empty() ? _error.message() : _reason; }
    [[nodiscard]] const std::string& getTemporaryName() const noexcept { return _temporaryName; }

protected:
    int_type overflow(int_type byte) override;
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int sync() override;

private:
    enum class eAttempt : std::uint8_t { kDone, kFailed, kAgain };

    bool _followLink(const struct stat& link);
    eAttempt _create();
    eAttempt _removeLeftOver();
    bool _write(const char* bytes, std::size_t count);
    bool _checkClosing();
    void _close();
    bool _isStillOurs();
    bool _mayReplaceTarget();
    bool _flushFolder(const char* path);
    bool _fail(int error, std::string reason = {});

    FileCalls& _calls{FileCalls::current()};
    std::string _target;
    eLinks _links;
    std::string _temporaryName;
    std::vector<char> _buffer;
    std::error_code _error;
    std::string _reason;  // empty: the text of the error suffices
    int _file{-1};
    bool _mustRemove{false};
};

}  // namespace KrPersistence::detail
