#pragma once

#include <cstdint>
#include <string>

#include "kr/platform/export.h"

namespace KrSim {

/// How often a group of units is stepped, and by how much. See ModuleOf.
/// Thread: value. Ownership: value.
class KR_API StepRate {
public:
    /// What happens with a rate in Hz that does not divide the frame rate, as 100 Hz at 60 frames per second.
    enum class eRest : std::uint8_t {
        kRefused,  ///< it is not stepped, and a warning names the nearest rates that do
        kCarried,  ///< frames have different numbers of steps: as many as are due
    };

    /// One step in each frame.
    StepRate() noexcept = default;
    /// So many steps in each frame, each of an equal part of it. At least 1.
    [[nodiscard]] static StepRate perFrame(std::uint32_t steps) noexcept;
    /// One step of the length of so many frames, in every so many-th frame. At least 1.
    /// \param offset  the number of the first frame: spreads the load of several groups.
    [[nodiscard]] static StepRate everyFrames(std::uint32_t frames, std::uint32_t offset = 0) noexcept;
    /// Steps of 1 / `hz` seconds, at the multiples of that in simulated time, whatever the frame rate is.
    /// \param hz  above 0 and finite
    [[nodiscard]] static StepRate hertz(double hz, eRest rest = eRest::kRefused) noexcept;

    friend bool operator==(const StepRate&, const StepRate&) = default;

    /// False for a rate in Hz that is no number above 0.
    [[nodiscard]] bool isValid() const noexcept;
    [[nodiscard]] eRest getRest() const noexcept { return _rest; }
    /// Whether a frame has a whole number of steps, or a step a whole number of frames.
    [[nodiscard]] bool divides(double frameRateHz) const noexcept;
    /// "100 Hz does not divide the frame rate of 60 Hz; the nearest rates that do are 60 Hz and 120 Hz"
    [[nodiscard]] std::string explain(double frameRateHz) const;
    /// Why the rate is refused at this frame rate, 0 being an unknown one; empty when it is accepted.
    [[nodiscard]] std::string explainRefusal(double frameRateHz) const;

    /// The steps of one frame.
    struct Steps {
        std::uint64_t count{0};
        double firstSeconds{0.0};  ///< simulated time at the beginning of the first one
        double stepSeconds{0.0};
    };
    /// \param frame             the number of the frame
    /// \param simulatedSeconds  at its beginning
    /// \param frameSeconds      that it simulates
    [[nodiscard]] Steps plan(std::uint32_t frame, double simulatedSeconds, double frameSeconds) const noexcept;

    /// Seconds from the beginning of a frame to the end of the last step that plan has for the frames before it, of a
    /// rate in Hz below the frame rate; else 0.
    [[nodiscard]] double getSecondsAhead(double simulatedSeconds, double frameSeconds) const noexcept;

private:
    enum class Kind : std::uint8_t { kPerFrame, kEveryFrames, kHertz };

    Kind _kind{Kind::kPerFrame};
    eRest _rest{eRest::kRefused};
    std::uint32_t _count{1};
    std::uint32_t _offset{0};
    double _hz{0.0};
};

}  // namespace KrSim
