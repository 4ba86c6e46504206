#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "kr/core/color.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Draws opaque colours, each channel evenly from its own range of bytes. The same seed gives the same colours in every
/// run: the generator is the standard MT19937.
/// Thread: one at a time. Ownership: owns its generator.
class KR_API RandomColorGenerator {
public:
    static constexpr std::uint32_t kDefaultSeed = 5489;

    explicit RandomColorGenerator(std::uint32_t seed = kDefaultSeed);
    RandomColorGenerator(const RandomColorGenerator&) = delete;
    RandomColorGenerator& operator=(const RandomColorGenerator&) = delete;
    ~RandomColorGenerator();

    /// Sets the inclusive range of each channel, initially 0 to 255. A minimum below 0 becomes 0, a maximum above 255
    /// becomes 255, and a maximum below its minimum becomes that minimum. A minimum above 255 is kept, so that channels
    /// above 1 are drawn.
    void setRandomColorBoundaries(int redMinimum, int redMaximum, int greenMinimum, int greenMaximum, int blueMinimum,
                                  int blueMaximum);

    [[nodiscard]] Kr::KrColor generateRandomColor();

private:
    struct Engine;
    struct Range {
        int minimum{0};
        int maximum{255};
    };

    std::unique_ptr<Engine> _engine;  // behind a pointer: plug-ins need not compile <random>
    std::array<Range, 3> _ranges;     // red, green, blue
};

}  // namespace KrSim
