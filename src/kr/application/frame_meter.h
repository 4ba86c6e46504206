#pragma once

#include <optional>

#include "kr/application/context/frame_statistics.h"
#include "kr/application/frame_pacer.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Makes statistics of the frames of a loop. A few additions a frame, nothing is allocated.
/// Thread: one.
class KR_API FrameMeter {
public:
    /// A frame has begun.
    /// \param stepSeconds  its time step; \param isPaced  whether it had to wait until it was due.
    void onFrame(const FrameStart& start, double stepSeconds, bool isPaced);
    /// A paused frame has begun: the time up to here does not count.
    void onPausedFrame(const FrameStart& start);
    /// The frame that was begun last has ended. Its time step counts as simulated.
    void onFrameEnded();

    [[nodiscard]] const FrameStatistics& getStatistics() const noexcept { return _statistics; }
    /// Begins anew with the frame after this one.
    void reset() { *this = FrameMeter(); }

private:
    struct Frame {
        double start;
        double stepSeconds;
    };

    void _measurePrevious(double end);

    FrameStatistics _statistics;
    std::optional<Frame> _previous;  // whose end the next frame tells
    double _measuredSteps{0.0};      // of whole frames
    double _measuredSeconds{0.0};
    bool _hasWaited{false};
};

}  // namespace KrSim
