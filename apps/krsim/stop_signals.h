#pragma once

#include "apps/krsim/failure.h"
#include "kr/application/fwd.h"

namespace krsim {

/// During its lifetime, SIGINT, SIGTERM and SIGHUP request the application to end after its frame, whose wait they end;
/// SIGHUP only when it was not ignored (nohup). The first one restores the default effect of all three, so that a
/// second one ends the process immediately. A closed reader of our output ends nothing (SIGPIPE). One at a time.
class StopSignals {
public:
    StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;
    ~StopSignals();

    class Target;

    /// Name of the first signal, "SIGINT"; null before the first.
    [[nodiscard]] const char* getReceived() const noexcept;
    /// Exit code for the first signal; kOk before the first.
    [[nodiscard]] eExitCode getExitCode() const noexcept;
};

/// Sets the application, borrowed, for its lifetime. An earlier signal is forwarded to it.
class StopSignals::Target {
public:
    Target(StopSignals& signals, KrSim::KrApplication& application) noexcept;
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;
    ~Target();
};

}  // namespace krsim
