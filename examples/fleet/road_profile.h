#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace fleet {

/// Classes of road roughness after ISO 8608, from a good motorway to a track; each is four times as rough as the one
/// before.
enum class eRoadClass : std::uint8_t { kA, kB, kC, kD, kE, kF, kG, kH };

/// One wave of the road: amplitude * sin(waveNumber * distance + phase).
struct Harmonic {
    double amplitude{0.0};   // m
    double waveNumber{0.0};  // rad/m
    double phase{0.0};       // rad
};

/// The height of a road along its length.
struct RoadProfile {
    /// One for each third-octave band from 0.011 to 2.8 waves per metre.
    static constexpr std::size_t kHarmonics = 24;

    std::array<Harmonic, kHarmonics> harmonics;
    double start{0.0};  // m, height of the sum at distance 0
};

/// A road of the class, of the random stream of the seed: the same in each run.
[[nodiscard]] RoadProfile makeRoadProfile(eRoadClass roadClass, std::int32_t seed);

/// Metres; 0 at the start of the road.
[[nodiscard]] inline double getElevation(const RoadProfile& road, double distance) {
    double elevation = -road.start;
    for (const auto& each : road.harmonics)
        elevation += each.amplitude * std::sin(each.waveNumber * distance + each.phase);
    return elevation;
}

}  // namespace fleet
