#pragma once

#include <cstdint>

#include "apps/krsim/run_events.h"
#include "kr/application/fwd.h"
#include "kr/application/i_application_listener.h"

namespace krsim {

/// Watches a run: while it lives it collects the exceptions of callbacks, the warnings and errors of the log, and,
/// while an application runs, outputs that become NaN or infinite. Each is kept with its frame and simulated time.
///
/// KrErrorHandler must be installed before and stay so: messages are passed on to it unchanged.
/// Thread: one, but what it collects may come from any, also from threads that outlive it. One at a time.
class RunWatch {
public:
    RunWatch();
    RunWatch(const RunWatch&) = delete;
    RunWatch& operator=(const RunWatch&) = delete;
    ~RunWatch();

    class Target;

    /// Adds what can be seen only at the end: errors that extensions and modules have, and outputs with a NaN that was
    /// not reported, as it was set before the first frame or is an item of a list. To be called once, with content and
    /// modules in their places.
    static void inspect(const KrSim::KrApplication& application);

    /// What was found up to now.
    [[nodiscard]] static RunEvents getEvents();
    /// How often a callback threw, an extension had errors or an output became NaN.
    [[nodiscard]] static std::uint64_t getFailureCount() noexcept;
    /// Whether an output has become NaN while the application ran.
    [[nodiscard]] static bool hasNaN() noexcept;
    /// Where the run is. Safe in a signal handler.
    [[nodiscard]] static Moment getMoment() noexcept;
};

/// The application that is watched while this lives, borrowed. Must begin before its first frame.
class RunWatch::Target final : public KrSim::IApplicationListener {
public:
    /// \param stopsOnNaN  whether the frame in which an output becomes NaN is the last one.
    Target(RunWatch& watch, KrSim::KrApplication& application, bool stopsOnNaN);
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;
    ~Target() override;

    void onFrameEnded(KrSim::KrApplication* application) override;

private:
    KrSim::KrApplication& _application;
    const bool _stopsOnNaN;
};

}  // namespace krsim
