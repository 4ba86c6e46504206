#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <optional>

#include "kr/platform/clock.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The start of a frame. All in seconds.
struct FrameStart {
    double time{0.0};       ///< on the clock of the pacer
    double wait{0.0};       ///< the rest of the time step when the wait began; 0 without a rest
    double overwork{0.0};   ///< duration of the previous work after this frame was due
    double oversleep{0.0};  ///< duration of the wait after this frame was due
};

/// Keeps a loop at a frame rate: sleeps until shortly before a frame is due, and spins for the rest.
///
/// The rest is the resolution: the lateness of sleeps. It starts with that of the clock and follows the sleeps of the
/// loop itself, so that the spin is as short as the machine allows. A frame is due one time step after the beginning of
/// the previous one: lost time is not caught up. When a clock does not advance while it is read repeatedly, the pacer
/// sleeps, so that a clock that only advances by sleeping ends the wait, too.
/// Thread: one at a time; the flag that ends waits may be set on any thread, or by a signal handler. Ownership: clock
/// and flag are borrowed.
class KR_API FramePacer {
public:
    /// Reads the resolution of the clock, which may take a few milliseconds the first time.
    /// \param endsWaits  when it is true, a wait ends within 20 ms and its frame begins early; null: none.
    explicit FramePacer(Kr::IClock& clock = Kr::SteadyClock::instance(), const std::atomic<bool>* endsWaits = nullptr);

    /// Waits until the frame is due and begins it. The first one is due immediately.
    FrameStart beginPaced(double stepSeconds);
    /// Begins a frame immediately; it is never late.
    FrameStart beginFree();

    /// Seconds that the pacer spins before a frame is due.
    [[nodiscard]] double getResolution() const noexcept { return _resolution; }
    [[nodiscard]] Kr::IClock& getClock() const noexcept { return _clock; }

private:
    /// False when the flag has ended the wait.
    [[nodiscard]] bool _sleepUntil(double wakeUp);
    [[nodiscard]] double _spinUntil(double mark, double stepSeconds, double now);
    void _learn(double lateness);

    Kr::IClock& _clock;
    const std::atomic<bool>* _endsWaits;
    double _resolution;
    std::optional<double> _mark;  // when the last frame began
    std::array<double, 32> _lateness{};
    std::size_t _sleeps{0};
};

}  // namespace KrSim
