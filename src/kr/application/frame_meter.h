#pragma once

#include <optional>

#include "kr/application/context/frame_statistics.h"
#include "kr/application/frame_pacer.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Computes statistics of the frames of a loop: a few additions a frame, without allocation.
/// Thread: one at a time. Ownership: value.
class KR_API FrameMeter {
public:
    /// A frame has begun.
    /// \param stepSeconds  its time step; \param isPaced  whether it had to wait until it was due.
    void onFrame(const FrameStart& start, double stepSeconds, bool isPaced);
    /// A paused frame has begun: the time up to here does not count.
    void onPausedFrame(const FrameStart& start);
    /// The frame that began last has ended. Its time step counts as simulated.
    void onFrameEnded();

    [[nodiscard]] const FrameStatistics& getStatistics() const noexcept { return _statistics; }
    /// Starts again with the next frame.
    void reset() { *this = FrameMeter(); }

private:
    struct Frame {
        double start;
        double stepSeconds;
    };

    void _measurePrevious(double end);

    FrameStatistics _statistics;
    std::optional<Frame> _previous;  // its end is known with the next frame
    double _measuredSteps{0.0};      // of complete frames
    double _measuredSeconds{0.0};
    bool _hasWaited{false};
};

}  // namespace KrSim
