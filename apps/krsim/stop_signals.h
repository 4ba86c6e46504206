#pragma once

#include "apps/krsim/failure.h"
#include "kr/application/fwd.h"

namespace krsim {

/// While it lives, SIGINT, SIGTERM and SIGHUP ask the application to end after its frame, whose wait they end; SIGHUP
/// only where it was not ignored (nohup). The first one gives all three their default effect back, so that a second one
/// ends the process at once. A reader of our output who goes away ends nothing (SIGPIPE). One at a time.
class StopSignals {
public:
    StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;
    ~StopSignals();

    class Target;

    /// "SIGINT" and its like, of the first one; null while none has come.
    [[nodiscard]] const char* getReceived() const noexcept;
    /// That of the first one; kOk while none has come.
    [[nodiscard]] eExitCode getExitCode() const noexcept;
};

/// The application that is asked while this lives, borrowed. A signal that has come before is passed on.
class StopSignals::Target {
public:
    Target(StopSignals& signals, KrSim::KrApplication& application) noexcept;
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;
    ~Target();
};

}  // namespace krsim
