#include "road_profile.h"

#include <numbers>
#include <random>

namespace fleet {

namespace {

/// A number in [0, 1). The distributions of the standard library differ between libraries.
double drawUnit(std::mt19937_64& generator) {
    return static_cast<double>(generator() >> 11) * 0x1p-53;
}

}  // namespace

// ISO 8608: the power spectral density of the height is G(n) = G(n0) (n / n0)^-2 with n0 = 0.1 waves per metre and
// G(n0) = 16e-6 m^3 in the middle of class A. A band of width b around n has the variance G(n) b, which one wave of the
// amplitude sqrt(2 G(n) b) has, too. The phases are drawn evenly.
RoadProfile makeRoadProfile(eRoadClass roadClass, std::int32_t seed) {
    constexpr double kReference = 0.1;
    constexpr double kLowest = 0.011;
    const double roughness = 16e-6 * std::ldexp(1.0, 2 * static_cast<int>(roadClass));
    const double halfBand = std::exp2(1.0 / 6.0);
    std::mt19937_64 generator(static_cast<std::uint64_t>(static_cast<std::uint32_t>(seed)));
    RoadProfile road;
    double middle = kLowest * halfBand;
    for (auto& each : road.harmonics) {
        const double density = roughness * (kReference / middle) * (kReference / middle);
        each.amplitude = std::sqrt(2.0 * density * middle * (halfBand - 1.0 / halfBand));
        each.waveNumber = 2.0 * std::numbers::pi * middle;
        each.phase = 2.0 * std::numbers::pi * drawUnit(generator);
        middle *= halfBand * halfBand;
    }
    road.start = getElevation(road, 0.0);
    return road;
}

}  // namespace fleet
