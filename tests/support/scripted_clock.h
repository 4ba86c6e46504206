#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "kr/platform/clock.h"

namespace test_support {

/// Time that passes by being asked for (a microsecond each time), by sleeping, and by work. Sleeps end late as a script
/// says, over and over; without one in time. For one thread.
class ScriptedClock : public Kr::IClock {
public:
    explicit ScriptedClock(double resolution, std::vector<double> lateness = {0.0})
        : _resolution(resolution), _lateness(std::move(lateness)) {}

    [[nodiscard]] double getSeconds() const override { return _now += 1e-6; }
    void sleep(double seconds) override { sleepUntil(_now + seconds); }
    void sleepUntil(double seconds) override {
        if (seconds <= _now) return;
        sleptSeconds += seconds - _now;
        _now = seconds + _lateness[sleeps++ % _lateness.size()];
    }
    [[nodiscard]] double getResolution() const override { return _resolution; }
    void work(double seconds) { _now += seconds; }

    double sleptSeconds{0.0};  // as asked for
    std::size_t sleeps{0};

private:
    double _resolution;
    std::vector<double> _lateness;
    mutable double _now{100.0};
};

}  // namespace test_support
