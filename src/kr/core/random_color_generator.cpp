#include "kr/core/random_color_generator.h"

#include <algorithm>
#include <random>

namespace KrSim {

struct RandomColorGenerator::Engine {
    std::mt19937 generator;
};

RandomColorGenerator::RandomColorGenerator(std::uint32_t seed)
    : _engine(std::make_unique<Engine>(Engine{std::mt19937(seed)})), _ranges{} {}

RandomColorGenerator::~RandomColorGenerator() = default;

void RandomColorGenerator::setRandomColorBoundaries(int redMinimum, int redMaximum, int greenMinimum, int greenMaximum,
                                                    int blueMinimum, int blueMaximum) {
    _ranges = {Range{redMinimum, redMaximum}, Range{greenMinimum, greenMaximum}, Range{blueMinimum, blueMaximum}};
    for (Range& range : _ranges) {
        range.minimum = std::max(range.minimum, 0);
        range.maximum = std::max(std::min(range.maximum, 255), range.minimum);
    }
}

Kr::KrColor RandomColorGenerator::generateRandomColor() {
    const auto draw = [&](const Range& range) {
        std::uniform_int_distribution<int> distribution(range.minimum, range.maximum);
        return distribution(_engine->generator) / 255.0;
    };
    // Named draws: the order red, green, blue is part of the sequence.
    const double red = draw(_ranges[0]);
    const double green = draw(_ranges[1]);
    const double blue = draw(_ranges[2]);
    return {red, green, blue, 1.0};
}

}  // namespace KrSim
