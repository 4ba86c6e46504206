#pragma once

#include <stdexcept>
#include <string>

namespace krsim {

/// Exit codes of the process; scripts rely on them.
enum class eExitCode : int {
    kOk = 0,
    kFailed = 1,
    kUsage = 2,
    kRefusedFile = 3,
    kMissingPlugin = 4,
    // Ended by a signal, as shells report it: 128 + its number.
    kHangup = 129,
    kInterrupted = 130,
    kTerminated = 143,
};

/// A reason to end, printed as "krsim: <text>".
class Failure final : public std::runtime_error {
public:
    /// \param code  kUsage when another command line would help, kFailed for a failure of the environment.
    Failure(eExitCode code, const std::string& text) : std::runtime_error(text), _code(code) {}

    [[nodiscard]] eExitCode getCode() const noexcept { return _code; }

private:
    eExitCode _code;
};

/// The Failure, whose text is also written to the log file, if there is one: a run without a console has the reason
/// there.
[[nodiscard]] Failure logFailure(eExitCode code, const std::string& text);
/// Throws it.
[[noreturn]] inline void failInLog(eExitCode code, const std::string& text) {
    throw logFailure(code, text);
}

}  // namespace krsim
