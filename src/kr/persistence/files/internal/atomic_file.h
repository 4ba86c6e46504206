#pragma once

#include <sys/types.h>

#include <cstddef>
#include <streambuf>
#include <string>
#include <system_error>
#include <vector>

#include "kr/persistence/files/internal/file_calls.h"

namespace KrPersistence::detail {

/// Writes a file beside its target, as "<target>.temp", which then takes the target's place in one step. Until then the
/// target is not touched; what did not get so far is removed by the destructor.
///
/// As a stream buffer it only writes, and never throws: after the first failure it takes no more, and getError tells
/// it.
class AtomicFile final : public std::streambuf {
public:
    enum class eOutcome {
        kDone,
        kNotWritten,        ///< not all bytes are on disk
        kNotReplaced,       ///< they are, but the target could not be replaced
        kFolderNotFlushed,  ///< replaced; the replacement itself may be lost if the power fails now
    };

    explicit AtomicFile(std::string target);
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;
    ~AtomicFile() override;

    /// Removes what an earlier save left behind, but no link and no file of another user: these are refused, as is
    /// everything else that stands in the way.
    bool open();
    /// Flushes everything to disk and replaces the target, whose permissions the new file gets.
    eOutcome commit();

    /// The first failure.
    [[nodiscard]] const std::error_code& getError() const noexcept { return _error; }
    [[nodiscard]] const std::string& getTemporaryName() const noexcept { return _temporaryName; }

protected:
    int_type overflow(int_type byte) override;
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int sync() override;

private:
    bool _write(const char* bytes, std::size_t count);
    bool _close();
    bool _isStillOurs();
    bool _mayReplaceTarget();
    bool _flushFolder();
    bool _fail(int error);

    FileCalls& _calls{FileCalls::current()};
    std::string _target;
    std::string _temporaryName;
    std::vector<char> _buffer;
    std::error_code _error;
    int _file{-1};
    bool _mustRemove{false};
    ino_t _inode{0};
};

}  // namespace KrPersistence::detail
