#include "kr/application/frame_meter.h"

#include <algorithm>

namespace KrSim {

namespace {

/// What a spin may overshoot by on a calm machine, as part of the time step, with much room.
constexpr double kTolerance = 0.01;

void count(LateFrames& late, double seconds) {
    ++late.count;
    late.worstSeconds = std::max(late.worstSeconds, seconds);
    late.totalSeconds += seconds;
}

}  // namespace

void FrameMeter::onFrame(const FrameStart& start, double stepSeconds, bool isPaced) {
    auto& statistics = _statistics;
    _measurePrevious(start.time);
    if (isPaced && statistics.frames > 0) {
        statistics.shortestWaitSeconds = _hasWaited ? std::min(statistics.shortestWaitSeconds, start.wait) : start.wait;
        statistics.longestWaitSeconds = std::max(statistics.longestWaitSeconds, start.wait);
        _hasWaited = true;
        if (start.overwork > 0.0) count(statistics.overworked, start.overwork);
        if (start.oversleep > kTolerance * stepSeconds) count(statistics.overslept, start.oversleep);
    }
    ++statistics.frames;
    _previous = Frame{start.time, stepSeconds};
}

void FrameMeter::onPausedFrame(const FrameStart& start) {
    _measurePrevious(start.time);
    _previous.reset();
}

void FrameMeter::_measurePrevious(double end) {
    if (!_previous || end <= _previous->start) return;
    const double seconds = end - _previous->start;
    _measuredSteps += _previous->stepSeconds;
    _measuredSeconds += seconds;
    _statistics.realTimeFactor = _previous->stepSeconds / seconds;
    _statistics.meanRealTimeFactor = _measuredSteps / _measuredSeconds;
}

void FrameMeter::onFrameEnded() {
    if (_previous) _statistics.simulatedSeconds += _previous->stepSeconds;
}

}  // namespace KrSim
