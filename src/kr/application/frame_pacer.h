#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <optional>

#include "kr/platform/clock.h"
#include "kr/platform/export.h"

namespace KrSim {

/// How a frame began. All in seconds.
struct FrameStart {
    double time{0.0};       ///< on the clock of the pacer
    double wait{0.0};       ///< what was left of the time step when the wait began; 0 when nothing was
    double overwork{0.0};   ///< how long the work before went on after this frame was due
    double oversleep{0.0};  ///< how long the wait went on after this frame was due
};

/// Holds a loop to a frame rate: sleeps until shortly before a frame is due, and spins from there to the moment.
///
/// How much before is the resolution: how late sleeps end. It begins with that of the clock and follows the sleeps of
/// the loop itself, so that the spin is as short as the machine allows. A frame is due one time step after the
/// beginning of the one before: time that was lost is not caught up. A clock that stands still while it is read again
/// and again is slept on, so that one which only sleeping moves ends the wait, too.
/// Thread: one; the flag that ends waits may be set on any thread, or by a signal handler.
class KR_API FramePacer {
public:
    /// The clock is borrowed. Asks for its resolution, which may take a few milliseconds the first time.
    /// \param endsWaits  once it is true, a wait ends within 20 ms and its frame begins early; borrowed, null for none.
    explicit FramePacer(Kr::IClock& clock = Kr::SteadyClock::instance(), const std::atomic<bool>* endsWaits = nullptr);

    /// Waits until the frame is due and begins it. The first one is due at once.
    FrameStart beginPaced(double stepSeconds);
    /// Begins it at once; nothing is late.
    FrameStart beginFree();

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
