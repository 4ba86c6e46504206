#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bare_fleet.h"
#include "kr/application/application.h"
#include "kr/extension/object.h"
#include "kr/persistence/setups/simulation_files.h"
#include "kr/persistence/states/simulation_snapshot.h"

namespace fleet_test {

using fleet::BareCar;
using fleet::eRoadClass;
using KrSim::KrApplication;
using KrSim::KrObject;
using testing::ElementsAreArray;

constexpr int kFrames = 4 * 60;

/// The fleet of the files: the definition, which is a car as well, and its instances.
struct Fleet {
    Fleet() {
        const std::string files[] = {KR_FLEET "/setup.xml"};
        loaded = KrPersistence::loadSimulation(*application, files, {.pluginDirectories = {KR_EXAMPLE_PLUGINS}});
        EXPECT_TRUE(loaded.isComplete()) << loaded.toString();
    }
    void run(int frames) const {
        for (int frame = 0; frame < frames; ++frame)
            application->update();
    }
    [[nodiscard]] double get(std::size_t car, const char* part, const char* output) const {
        const auto* object = dynamic_cast<const KrObject*>(application->getExtension(car));
        return object->findExtensionByName(part, false)->getOutput(output)->toReal();
    }
    [[nodiscard]] std::vector<double> valuesOf(std::size_t car) const {
        return {get(car, "Road", "Distance"),
                get(car, "Road", "Elevation"),
                get(car, "Tyre", "Force"),
                get(car, "Suspension", "Dissipated Energy"),
                get(car, "Wheel", "Position"),
                get(car, "Wheel", "Velocity"),
                get(car, "Body", "Position"),
                get(car, "Body", "Velocity"),
                get(car, "Body", "Peak Acceleration"),
                get(car, "Body", "Discomfort")};
    }

    Kr::KrSmartPtr<KrApplication> application = KrApplication::create();
    KrPersistence::LoadedSimulation loaded;
};

std::vector<double> valuesOf(const fleet::CarState& car) {
    return {
        car.distance,       car.elevation,     car.tyreForce,     car.suspension.dissipatedEnergy, car.wheel.position,
        car.wheel.velocity, car.body.position, car.body.velocity, car.ride.peakAcceleration,       car.ride.discomfort};
}

/// A car of the files and its road.
struct CarCase {
    const char* name;
    std::size_t car;
    eRoadClass roadClass;
    std::int32_t seed;
};

class FleetOfFiles : public testing::TestWithParam<CarCase> {};

TEST_P(FleetOfFiles, ComputesTheBitsOfThePlainProgram) {
    const Fleet files;
    files.run(kFrames);
    std::vector<BareCar> bare(1);
    bare[0].road = fleet::makeRoadProfile(GetParam().roadClass, GetParam().seed);
    for (int frame = 0; frame < kFrames; ++frame)
        fleet::runFrameStepByStep(bare, files.application->getSimulationTimeStep() / fleet::kStepsPerFrame);
    EXPECT_THAT(files.valuesOf(GetParam().car), ElementsAreArray(valuesOf(bare[0].state)));
}

INSTANTIATE_TEST_SUITE_P(Cars, FleetOfFiles,
                         testing::Values(CarCase{"Definition", 0, eRoadClass::kC, 1},
                                         CarCase{"InstanceOnClassA", 1, eRoadClass::kA, 1},
                                         CarCase{"InstanceOnClassB", 2, eRoadClass::kB, 2},
                                         CarCase{"InstanceOnClassC", 3, eRoadClass::kC, 3}),
                         [](const auto& each) { return std::string(each.param.name); });

/// The second run continues from a snapshot of the first one, in the middle of it.
TEST(FleetSnapshot, RunsOnFromASnapshotWithTheSameBits) {
    const Fleet files;
    files.run(kFrames / 2);
    const auto middle = KrPersistence::SimulationSnapshot::take(*files.application);
    files.run(kFrames / 2);
    const auto end = files.valuesOf(3);
    ASSERT_TRUE(middle->restore(*files.application).isComplete());
    files.run(kFrames / 2);
    EXPECT_THAT(files.valuesOf(3), ElementsAreArray(end));
}

struct RoadCase {
    const char* name;
    eRoadClass roadClass;
    double roughness;  // m^3 at 0.1 waves per metre, the middle of the class in ISO 8608
};

class RoadClass : public testing::TestWithParam<RoadCase> {};

/// The variance of the height is the integral of the density from the lowest to the highest wave number.
TEST_P(RoadClass, HasTheVarianceOfItsDensity) {
    const double expected = GetParam().roughness * 0.01 * (1.0 / 0.011 - 1.0 / (0.011 * 256.0));
    const auto road = fleet::makeRoadProfile(GetParam().roadClass, 7);
    double sum = 0.0, squares = 0.0;
    constexpr int kSamples = 200'000;
    for (int i = 0; i < kSamples; ++i) {
        const double height = fleet::getElevation(road, 0.1 * i);
        sum += height;
        squares += height * height;
    }
    const double mean = sum / kSamples;
    EXPECT_NEAR((squares / kSamples - mean * mean) / expected, 1.0, 0.02);
}

INSTANTIATE_TEST_SUITE_P(Iso8608, RoadClass,
                         testing::Values(RoadCase{"A", eRoadClass::kA, 16e-6}, RoadCase{"B", eRoadClass::kB, 64e-6},
                                         RoadCase{"E", eRoadClass::kE, 4096e-6},
                                         RoadCase{"H", eRoadClass::kH, 262144e-6}),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace fleet_test
