#include "kr/application/frame_pacer.h"

#include <algorithm>

namespace KrSim {

namespace {

/// Readings without progress, after which a clock is taken for one that advances only by sleeping: longer than any
/// real clock takes to its next tick.
constexpr int kMostReadings = 1'000'000;
/// So often, in seconds, a long wait asks whether it is to end.
constexpr double kLongestSleep = 0.02;

}  // namespace

FramePacer::FramePacer(Kr::IClock& clock, const std::atomic<bool>* endsWaits)
    : _clock(clock), _endsWaits(endsWaits), _resolution(clock.getResolution()) {}

FrameStart FramePacer::beginFree() {
    FrameStart start;
    start.time = _clock.getSeconds();
    _mark = start.time;
    return start;
}

// The slack of the system's timers stays as it is: without it sleeps end earlier, and the time gained is spun away.
FrameStart FramePacer::beginPaced(double stepSeconds) {
    if (!_mark) return beginFree();
    const double mark = *_mark;
    double now = _clock.getSeconds();
    const double remaining = stepSeconds - (now - mark);
    FrameStart start;
    if (remaining > _resolution) {
        const double wakeUp = mark + stepSeconds - _resolution;
        const bool isWhole = _sleepUntil(wakeUp);
        now = _clock.getSeconds();
        if (!isWhole) {
            start.time = now;
            start.wait = remaining;
            _mark = now;
            return start;
        }
        _learn(now - wakeUp);
    }
    if (remaining > 0.0) {
        now = _spinUntil(mark, stepSeconds, now);
        start.wait = remaining;
        start.oversleep = now - mark - stepSeconds;
    } else {
        start.overwork = -remaining;
    }
    start.time = now;
    _mark = now;
    return start;
}

bool FramePacer::_sleepUntil(double wakeUp) {
    while (_endsWaits != nullptr) {
        if (_endsWaits->load(std::memory_order_relaxed)) return false;
        const double next = _clock.getSeconds() + kLongestSleep;
        if (next >= wakeUp) break;
        _clock.sleepUntil(next);
    }
    _clock.sleepUntil(wakeUp);
    return true;
}

double FramePacer::_spinUntil(double mark, double stepSeconds, double now) {
    for (int still = 0; now - mark < stepSeconds; ++still) {
        const double next = _clock.getSeconds();
        if (next != now) still = 0;
        now = next;
        if (still < kMostReadings) continue;
        _clock.sleepUntil(mark + stepSeconds);
        return _clock.getSeconds();  // may be short of it by a rounding error
    }
    return now;
}

void FramePacer::_learn(double lateness) {
    _lateness[_sleeps++ % _lateness.size()] = lateness;
    if (_sleeps % _lateness.size() == 0) _resolution = Kr::SteadyClock::resolutionFrom(_lateness);
}

}  // namespace KrSim
