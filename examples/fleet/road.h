#pragma once

#include "car_part.h"
#include "road_profile.h"

namespace fleet {

/// The road profile of two parameters; drawn again when one of them has changed.
class RoadMaker {
public:
    [[nodiscard]] const RoadProfile& get(int roadClass, std::int32_t seed) {
        if (roadClass != _roadClass || seed != _seed) _draw(roadClass, seed);
        return _profile;
    }

private:
    void _draw(int roadClass, std::int32_t seed) {
        _profile = makeRoadProfile(static_cast<eRoadClass>(roadClass), seed);
        _roadClass = roadClass;
        _seed = seed;
    }

    RoadProfile _profile;
    int _roadClass{-1};
    std::int32_t _seed{0};
};

/// Moves under the wheel.
class Road final : public CarPart {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "63ed0f34-4fb7-461b-adfa-99fffa2b8928";

    explicit Road(KrSim::KrExtension* proxy) : CarPart(proxy, kVersion) {}

    void step(double seconds) override {
        const double reached = distance + speed * seconds;
        distance = reached;
        elevation = getElevation(_maker.get(roadClass.get(), seed), reached);
    }

    KrSim::Parameter<Kr::KrEnum> roadClass{
        this, "Road Class", {.value = Kr::KrEnum(eRoadClass::kC), .description = "Roughness after ISO 8608."}};
    KrSim::Parameter<std::int32_t> seed{
        this, "Seed", {.value = 1, .description = "Roads of one class differ by their seeds."}};
    KrSim::Parameter<double> speed{this,
                                   "Speed",
                                   {.value = 20.0,
                                    .min = 0.0,
                                    .max = 100.0,
                                    .dimension = Kr::kSpeed,
                                    .description = "At which the car drives over the road."}};
    KrSim::Output<double> distance{this, "Distance", {.dimension = Kr::kLength, .description = "Since the beginning."}};
    KrSim::Output<double> elevation{
        this, "Elevation", {.dimension = Kr::kLength, .description = "Height of the road under the wheel."}};

private:
    RoadMaker _maker;
};

}  // namespace fleet
