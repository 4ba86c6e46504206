#pragma once

#include <cstdint>

namespace KrSim {

/// Frames that began after they were due, for one reason.
struct LateFrames {
    std::uint64_t count{0};
    double worstSeconds{0.0};  ///< the longest time after the due moment
    double totalSeconds{0.0};
};

/// How an application has kept its frame rate since its first frame, or since the last reset. Paused times do not
/// count. Waits and late frames are those of the paced synchronisation modes.
struct FrameStatistics {
    std::uint64_t frames{0};          ///< begun, without paused ones
    double simulatedSeconds{0.0};     ///< the sum of the time steps of all finished frames
    double realTimeFactor{0.0};       ///< of the last complete frame: its time step / its duration including the wait
    double meanRealTimeFactor{0.0};   ///< the same of all complete frames together
    double shortestWaitSeconds{0.0};  ///< the smallest rest of a time step so far; 0 when late
    double longestWaitSeconds{0.0};
    LateFrames overworked;  ///< the previous frame worked longer than its time step
    LateFrames overslept;   ///< the wait ended late by more than a hundredth of the time step

    [[nodiscard]] std::uint64_t getLateFrames() const noexcept { return overworked.count + overslept.count; }
    [[nodiscard]] double getWorstOverrunSeconds() const noexcept {
        return overworked.worstSeconds > overslept.worstSeconds ? overworked.worstSeconds : overslept.worstSeconds;
    }
};

}  // namespace KrSim
