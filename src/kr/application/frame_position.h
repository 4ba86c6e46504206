#pragma once

#include <cstdint>
#include <optional>

namespace KrSim {

/// Simulated time as an exact count.
struct SimulatedTime {
    double baseSeconds{0.0};  ///< at the last change of the step
    std::uint64_t ticks{0};   ///< frames that ended since then
    double stepSeconds{0.0};  ///< 0 before the first frame

    [[nodiscard]] double getSeconds() const noexcept { return baseSeconds + static_cast<double>(ticks) * stepSeconds; }
};

/// The position of a main loop between two frames, which can be restored. Times are seconds of the application's clock.
struct FramePosition {
    std::uint64_t frames{0};      ///< finished
    std::uint32_t frame{0};       ///< the number in the context: of the last frame
    double elapsedSeconds{0.0};   ///< in the context, at the beginning of the last frame
    double frameRateHz{60.0};     ///< sets the time step
    SimulatedTime time;           ///< at the end of the last frame
    double now{0.0};              ///< when this was taken
    std::optional<double> start;  ///< of the simulation, moved by pauses; empty before the first frame
    std::optional<double> begin;  ///< of the last frame
};

}  // namespace KrSim
