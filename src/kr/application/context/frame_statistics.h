#pragma once

#include <cstdint>

namespace KrSim {

/// Frames that began after they were due, for one reason.
struct LateFrames {
    std::uint64_t count{0};
    double worstSeconds{0.0};  ///< the longest time after the due moment
    double totalSeconds{0.0};
};

/// How an application has kept its pace since its first frame, or since this was reset. Times that it was paused do not
/// count. Waits and late frames are those of the paced synchronisation modes.
struct FrameStatistics {
    std::uint64_t frames{0};          ///< begun; paused ones are none
    double simulatedSeconds{0.0};     ///< the time steps of all frames that have ended, added up
    double realTimeFactor{0.0};       ///< of the last whole frame: its time step / the seconds it took with its wait
    double meanRealTimeFactor{0.0};   ///< the same of all whole frames together
    double shortestWaitSeconds{0.0};  ///< what was left of the time step when there was least to spare; 0 when late
    double longestWaitSeconds{0.0};
    LateFrames overworked;  ///< the frame before worked longer than its time step
    LateFrames overslept;   ///< the wait ended too late, by more than a hundredth of the time step

    [[nodiscard]] std::uint64_t getLateFrames() const noexcept { return overworked.count + overslept.count; }
    [[nodiscard]] double getWorstOverrunSeconds() const noexcept {
        return overworked.worstSeconds > overslept.worstSeconds ? overworked.worstSeconds : overslept.worstSeconds;
    }
};

}  // namespace KrSim
