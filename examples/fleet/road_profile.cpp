#include "road_profile.h"

#include <kr/foundation.h>

#include <numbers>
#include <string>

namespace fleet {

// ISO 8608: the power spectral density of the height is G(n) = G(n0) (n / n0)^-2 with n0 = 0.1 waves per metre and
// G(n0) = 16e-6 m^3 in the middle of class A. A band of width b around n has the variance G(n) b, which one wave of the
// amplitude sqrt(2 G(n) b) has, too. The phases are drawn evenly.
RoadProfile makeRoadProfile(eRoadClass roadClass, std::int32_t seed) {
    constexpr double kReference = 0.1;
    constexpr double kLowest = 0.011;
    const double roughness = 16e-6 * std::ldexp(1.0, 2 * static_cast<int>(roadClass));
    const double halfBand = std::exp2(1.0 / 6.0);
    // Of no application, so that the seed of a run changes no road, and a copy of a car drives on the same one.
    auto stream = KrSim::ApplicationContext().getRandomStream("Road/" + std::to_string(seed));
    RoadProfile road;
    double middle = kLowest * halfBand;
    for (auto& each : road.harmonics) {
        const double density = roughness * (kReference / middle) * (kReference / middle);
        each.amplitude = std::sqrt(2.0 * density * middle * (halfBand - 1.0 / halfBand));
        each.waveNumber = 2.0 * std::numbers::pi * middle;
        each.phase = stream.getUniform(0.0, 2.0 * std::numbers::pi);
        middle *= halfBand * halfBand;
    }
    road.start = getElevation(road, 0.0);
    return road;
}

}  // namespace fleet
