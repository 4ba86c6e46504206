#include "kr/application/frame_pacer.h"

namespace KrSim {

FramePacer::FramePacer(Kr::IClock& clock) : _clock(clock), _resolution(clock.getResolution()) {}

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
        _clock.sleepUntil(wakeUp);
        now = _clock.getSeconds();
        _learn(now - wakeUp);
    }
    if (remaining > 0.0) {
        while (now - mark < stepSeconds)
            now = _clock.getSeconds();
        start.wait = remaining;
        start.oversleep = now - mark - stepSeconds;
    } else {
        start.overwork = -remaining;
    }
    start.time = now;
    _mark = now;
    return start;
}

void FramePacer::_learn(double lateness) {
    _lateness[_sleeps++ % _lateness.size()] = lateness;
    if (_sleeps % _lateness.size() == 0) _resolution = Kr::SteadyClock::resolutionFrom(_lateness);
}

}  // namespace KrSim
