#pragma once

#include "kr/platform/clock.h"

namespace Kr {

/// Stop watch on a clock, which is borrowed. Thread: one at a time.
class Timer {
public:
    explicit Timer(const IClock& clock = SteadyClock::instance()) : _clock(&clock), _start(clock.getSeconds()) {}

    /// Seconds since the construction or the last restart.
    [[nodiscard]] double getElapsedSeconds() const { return _clock->getSeconds() - _start; }
    /// Starts again at zero and returns the seconds that had passed; no time is lost between two laps.
    double restart() {
        const double now = _clock->getSeconds();
        const double elapsed = now - _start;
        _start = now;
        return elapsed;
    }

private:
    const IClock* _clock;
    double _start;
};

}  // namespace Kr
