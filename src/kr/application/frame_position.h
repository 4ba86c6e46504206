#pragma once

#include <cstdint>
#include <optional>

namespace KrSim {

/// The position of a main loop between two frames, which can be restored. Times are seconds of the application's clock.
struct FramePosition {
    std::uint64_t frames{0};      ///< finished
    std::uint32_t frame{0};       ///< the number in the context: of the last frame
    double elapsedSeconds{0.0};   ///< in the context, at the beginning of the last frame
    double frameRateHz{60.0};     ///< sets the time step
    double now{0.0};              ///< when this was taken
    std::optional<double> start;  ///< of the simulation, moved by pauses; empty before the first frame
    std::optional<double> begin;  ///< of the last frame
};

}  // namespace KrSim
