#pragma once

#include <cstdint>

#include "apps/krsim/run_events.h"
#include "kr/application/fwd.h"
#include "kr/application/i_application_listener.h"

namespace krsim {

/// Watches a run: during its lifetime it collects the exceptions of callbacks, the warnings and errors of the log, and,
/// while an application runs, outputs that become NaN or infinite. Each is kept with its frame and simulated time.
///
/// KrErrorHandler must be installed before and remain so: messages are forwarded to it unchanged.
/// Thread: one at a time; events may come from any, also from threads that outlive it. One object at a time.
class RunWatch {
public:
    RunWatch();
    RunWatch(const RunWatch&) = delete;
    RunWatch& operator=(const RunWatch&) = delete;
    ~RunWatch();

    class Target;

    /// Adds the findings of the end: errors of extensions and modules, and outputs with a NaN that was not reported,
    /// because it was set before the first frame or is an item of a list. Call it once, while content and modules
    /// exist.
    static void inspect(const KrSim::KrApplication& application);

    /// The findings so far.
    [[nodiscard]] static RunEvents getEvents();
    /// How often a callback threw, an extension had errors or an output became NaN.
    [[nodiscard]] static std::uint64_t getFailureCount() noexcept;
    /// Whether an output has become NaN while the application ran.
    [[nodiscard]] static bool hasNaN() noexcept;
    /// The position of the run. Safe in a signal handler.
    [[nodiscard]] static Moment getMoment() noexcept;
};

/// Sets the watched application, borrowed, for its lifetime. Must begin before its first frame.
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
