#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "bare_car.h"
#include "cycle_table.h"
#include "drive_report.h"
#include "kr/application/application.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/events/event_dispatcher.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/object.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "kr/testing/test_application.h"
#include "tests/support/log_capture.h"

namespace electric_car_test {

using Kr::KrSmartPtr;
using KrSim::eApplicationMode;
using KrSim::KrApplication;
using KrSim::KrExtension;
using KrSim::KrExtensionFactory;
using KrSim::KrObject;
using testing::ElementsAre;
using testing::IsEmpty;

KrSmartPtr<KrExtension> make(const char* uuid, const char* name) {
    KrPluginSystem::KrPluginManager::instance().addPluginSearchDir(KR_EXAMPLE_PLUGINS);
    return KrExtensionFactory::create({uuid, "Drive Cycle", name, "DriveCycle"});
}

KrSmartPtr<KrObject> makeCar() {
    return Kr::dynamicPointerCast<KrObject>(make("dd031425-9106-4b42-ba84-1c752e63b2d7", "Electric Car"));
}

/// An application that drives what is added.
struct Road {
    Road() { test.usePlugin(KR_EXAMPLE_PLUGINS, "DriveCycle"); }
    ~Road() { KrSim::KrEventDispatcher::enableExternalControl(false); }

    /// The names of what the module drives, in order.
    [[nodiscard]] std::vector<std::string> managed() const {
        std::vector<std::string> names;
        for (const auto& each : application->getModule(0)->getManagedExtensions())
            names.push_back(each->getName());
        return names;
    }

    KrTesting::TestApplication test;
    KrApplication* const application{&test.getApplication()};
};

std::vector<double> valuesOf(const DriveFigures& of) {
    return {of.seconds,     of.targetDistance,  of.distance,    of.batteryEnergy, of.driveLoss,
            of.batteryLoss, of.auxiliaryEnergy, of.rollingLoss, of.airLoss,       of.brakeLoss};
}

double speedOf(const KrObject& car) {
    return car.findExtensionByName("Vehicle", false)->getOutput("Speed")->toReal();
}

/// Whether events wait for the next frame, so that all that is fed back comes a frame later.
class WholeCycle : public testing::TestWithParam<bool> {};

TEST_P(WholeCycle, IsDrivenWithinTheLimits) {
    const test_support::LogCapture log;
    Road road;
    KrSim::KrEventDispatcher::enableExternalControl(GetParam());
    const auto car = makeCar();
    ASSERT_TRUE(car);
    ASSERT_TRUE(road.application->add(car.get()));
    ASSERT_EQ(road.application->run({.seconds = getEuropeanCycle().back().seconds}), 0);

    const DriveFigures figures(*car);
    EXPECT_EQ(road.application->getFrameStatistics().frames, 70'800U);
    EXPECT_NEAR(figures.targetDistance, getDistanceOf(getEuropeanCycle()), 1e-3);
    EXPECT_LT(std::abs(figures.getDistanceError()), kAllowedDistanceError);
    EXPECT_LT(std::abs(figures.getBalanceError()), GetParam() ? kAllowedBalanceError : 1e-9);
    EXPECT_GT(figures.getJoulesPerMetre() * 1e5 / 3.6e6, 8.0);  // what compact cars take, kWh/100 km
    EXPECT_LT(figures.getJoulesPerMetre() * 1e5 / 3.6e6, 20.0);
    EXPECT_THAT(log.lines(Kr::eLogLevel::kInfo), IsEmpty());
    if (GetParam()) return;

    // The library carries the numbers and does not change them.
    BareCar bare;
    for (int frame = 0; frame < 70'800; ++frame)
        bare.step(road.application->getSimulationTimeStep());
    EXPECT_THAT(valuesOf(figures),
                ElementsAre(bare.time, bare.targetDistance, bare.distance, bare.batteryEnergy, bare.driveLoss,
                            bare.batteryLoss, bare.auxiliaryEnergy, bare.rollingLoss, bare.airLoss, bare.brakeLoss));

    auto tooFar = figures, lossy = figures;
    tooFar.distance *= 1.006;
    lossy.batteryEnergy *= 1.002;
    EXPECT_TRUE(printReport(figures, 0.0));
    EXPECT_FALSE(printReport(tooFar, 0.0));
    EXPECT_FALSE(printReport(lossy, 0.0));
}

INSTANTIATE_TEST_SUITE_P(Events, WholeCycle, testing::Bool(),
                         [](const auto& each) { return each.param ? "WaitForTheFrame" : "AreDeliveredAtOnce"; });

TEST(ElectricCar, ExplainsAllItsFields) {
    const auto car = makeCar();
    for (std::size_t i = 0; i < car->getExtensionCount(); ++i) {
        auto& part = *car->getExtension(i);
        for (const auto* group :
             {&part.getInputContainer(), &part.getOutputContainer(), &part.getParameterContainer()}) {
            EXPECT_GT(group->size(), 0U) << part.getName();
            for (const auto* field : *group)
                EXPECT_NE(field->getDescription(), "") << field->getPath();
        }
        for (const auto* field : part.getParameterContainer())
            EXPECT_TRUE(static_cast<const KrData::Field<double>*>(field)->hasRange()) << field->getPath();
    }
}

TEST(ElectricCar, IsSteppedFromTheCycleToTheVehicle) {
    Road road;
    const auto car = makeCar();
    // The module gets the parts in the reverse order.
    std::vector<KrSmartPtr<KrExtension>> parts;
    while (car->getExtensionCount() > 0) {
        parts.emplace_back(car->getExtension(car->getExtensionCount() - 1));
        car->remove(parts.back().get());
    }
    road.application->add(car.get());
    for (const auto& each : parts)
        car->add(each.get());
    road.application->run({.frames = 1});
    EXPECT_THAT(road.managed(), ElementsAre("Driving Cycle", "Driver", "Electric Drive", "Vehicle"));
    EXPECT_FALSE(KrSim::KrExtensionSorter::instance().hasGraphCycle());
}

TEST(ElectricCar, IsCopiedUnderwayWithItsStateAndConnections) {
    Road road;
    const auto car = makeCar();
    road.application->add(car.get());
    road.application->run({.seconds = 17.0});
    auto clone = Kr::dynamicPointerCast<KrObject>(car->clone());
    const auto instance = car->instantiate();
    EXPECT_EQ(clone->getExtensionCount(), 4U);
    EXPECT_EQ(instance->getExtensionCount(), 4U);
    const auto clonesClone = Kr::dynamicPointerCast<KrObject>(clone->clone());
    clone.reset();
    road.application->add(clonesClone.get());
    road.application->add(instance.get());
    road.application->run({.seconds = 20.0});
    EXPECT_GT(DriveFigures(*car).distance, 50.0);
    EXPECT_EQ(valuesOf(DriveFigures(*clonesClone)), valuesOf(DriveFigures(*car)));
    EXPECT_EQ(valuesOf(DriveFigures(*instance)), valuesOf(DriveFigures(*car)));
}

TEST_P(WholeCycle, ReplaysExactlyFromAnyMoment) {
    Road road;
    KrSim::KrEventDispatcher::enableExternalControl(GetParam());
    const auto car = makeCar();
    road.application->add(car.get());
    EXPECT_EQ(road.test.explainReplay(900, 600), "");
    EXPECT_GT(speedOf(*car), 1.0);
}

KrPersistence::RunRecord driveFresh() {
    Road road;
    road.test.add("Electric Car");
    return road.test.record(900);
}

TEST(ElectricCar, DrivesAlikeInTwoRuns) {
    EXPECT_EQ(driveFresh().explainDifference(driveFresh()), "");
}

TEST(ElectricCar, StandsWhileTheApplicationDoesNotSimulate) {
    Road road;
    const auto car = makeCar();
    road.application->add(car.get());
    road.application->run({.seconds = 14.0});
    const double speed = speedOf(*car);
    EXPECT_GT(speed, 1.0);
    road.application->setApplicationMode(eApplicationMode::kEditing);
    road.application->run({.seconds = 1.0});
    EXPECT_EQ(speedOf(*car), speed);
    road.application->setApplicationMode(eApplicationMode::kSimulating);
    road.application->run({.seconds = 1.0});
    EXPECT_GT(speedOf(*car), speed);
    road.application->remove(car.get());
    EXPECT_THAT(road.managed(), IsEmpty());
}

TEST(ElectricCar, WithoutItsDriverKeepsItsPedalAndItsBooks) {
    Road road;
    const auto car = makeCar();
    road.application->add(car.get());
    road.application->run({.seconds = 14.0});
    car->remove(car->findExtensionByName("Driver", false));
    road.application->run({.seconds = 60.0});
    EXPECT_GT(speedOf(*car), 120.0 / 3.6);  // the pedal stays where it was
    EXPECT_LT(std::abs(DriveFigures(*car).getBalanceError()), 1e-9);
    car->remove(car->findExtensionByName("Vehicle", false));
    EXPECT_THROW(DriveFigures{*car}, std::runtime_error);
}

}  // namespace electric_car_test
