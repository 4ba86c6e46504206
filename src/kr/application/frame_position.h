#pragma once

#include <cstdint>
#include <optional>

namespace KrSim {

/// Where a main loop stands between two frames, so that it can be put there again. Moments are seconds of the clock of
/// the application.
struct FramePosition {
    std::uint64_t frames{0};      ///< that have ended
    std::uint32_t frame{0};       ///< as the context shows it: of the last frame
    double elapsedSeconds{0.0};   ///< likewise, at the beginning of the last frame
    double frameRateHz{60.0};     ///< sets the time step
    double now{0.0};              ///< when this was noted
    std::optional<double> start;  ///< of the simulation, moved on by pauses; nothing before the first frame
    std::optional<double> begin;  ///< of the last frame
};

}  // namespace KrSim
