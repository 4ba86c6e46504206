#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "car_models.h"
#include "tests/support/case_name.h"

namespace car_models_test {

using test_support::caseName;
using testing::DoubleNear;

constexpr VehicleSettings kVehicle{.mass = 1000.0, .rotatingMassFactor = 1.0, .rollingCoefficient = 0.01};
constexpr double kRolling = 98.0665;  // N

struct MoveCase {
    const char* name;
    double speed;
    WheelForces forces;
    double seconds;
    double endSpeed;
};

class VehicleMotion : public testing::TestWithParam<MoveCase> {};

TEST_P(VehicleMotion, SpendsAllWorkAndNeverRollsBack) {
    const auto& each = GetParam();
    const auto step = moveVehicle(kVehicle, each.speed, each.forces, each.seconds);
    EXPECT_NEAR(step.speed, each.endSpeed, 1e-9);
    const double gained = 500.0 * (step.speed * step.speed - each.speed * each.speed);
    EXPECT_THAT(step.rolling + step.air + step.brake + gained, DoubleNear(step.traction, 1e-9));
    EXPECT_NEAR(step.distance, 0.5 * (each.speed + step.speed) * each.seconds, 1e-12);
    EXPECT_GE(step.rolling, 0.0);
    EXPECT_GE(step.brake, 0.0);
}

constexpr double kAirAt20 = 0.5 * 1.2 * 0.65 * 400.0;

INSTANTIATE_TEST_SUITE_P(
    , VehicleMotion,
    testing::Values(MoveCase{"PullsAway", 0.0, {1098.0665, 0.0}, 0.5, 0.5},
                    MoveCase{"Coasts", 20.0, {0.0, 0.0}, 0.1, 20.0 - (kAirAt20 + kRolling) * 1e-4},
                    MoveCase{"Brakes", 20.0, {-1000.0, 2000.0}, 0.1, 20.0 - (kAirAt20 + kRolling + 3000.0) * 1e-4},
                    MoveCase{"StopsWithinTheStep", 0.1, {0.0, 5000.0}, 0.1, 0.0},
                    MoveCase{"IsStoppedByTheMotor", 0.1, {-5000.0, 0.0}, 0.1, 0.0},
                    MoveCase{"IsHeldByRollingResistance", 0.0, {90.0, 0.0}, 0.1, 0.0},
                    MoveCase{"IsHeldByTheBrake", 0.0, {1000.0, 1000.0}, 0.1, 0.0},
                    MoveCase{"IsNotPushedBack", 0.0, {-1000.0, 0.0}, 0.1, 0.0}),
    caseName);

struct ForceCase {
    const char* name;
    double pedal;
    double speed;
    double charge;
    WheelForces expected;
};

class ForceSharing : public testing::TestWithParam<ForceCase> {};

TEST_P(ForceSharing, KeepsToTheLimits) {
    const auto& each = GetParam();
    const auto forces = shareForces({}, each.pedal, each.speed, each.charge);  // 7500 N at full pedal
    EXPECT_NEAR(forces.traction, each.expected.traction, 1e-9);
    EXPECT_NEAR(forces.brake, each.expected.brake, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(, ForceSharing,
                         testing::Values(ForceCase{"Torque", 1.0, 0.0, 0.5, {7500.0, 0.0}},
                                         ForceCase{"Power", 1.0, 40.0, 0.5, {2000.0, 0.0}},
                                         ForceCase{"Pedal", 0.2, 40.0, 0.5, {1500.0, 0.0}},
                                         ForceCase{"EmptyBattery", 1.0, 10.0, 0.0, {0.0, 0.0}},
                                         ForceCase{"RecuperatesAll", -0.1, 10.0, 0.5, {-750.0, 0.0}},
                                         ForceCase{"RecuperationPower", -0.5, 20.0, 0.5, {-1500.0, 2250.0}},
                                         ForceCase{"RecuperationFades", -1.0, 1.5, 0.5, {-3750.0, 3750.0}},
                                         ForceCase{"FullBattery", -0.5, 20.0, 1.0, {0.0, 3750.0}},
                                         ForceCase{"Standing", -0.2, 0.0, 0.5, {0.0, 1500.0}}),
                         caseName);

TEST(PowerBalance, IsWithinWhatAWeakBatteryGives) {
    DriveSettings weak;
    weak.resistance = 10.0;  // breaks down at 3062.5 W
    const auto forces = shareForces(weak, 1.0, 10.0, 0.5);
    EXPECT_NEAR(forces.traction, (0.9 * 3062.5 - 300.0) * 0.9 / 10.0, 1e-9);
    EXPECT_LT(balancePower(weak, forces.traction * 10.0).battery, 350.0 * 350.0 / 20.0);
}

TEST(PowerBalance, LosesBothWaysAndObeysTheCircuit) {
    for (const double wheels : {-30e3, -300.0, 0.0, 1e3, 80e3}) {
        const DriveSettings settings;
        const auto balance = balancePower(settings, wheels);
        EXPECT_NEAR(balance.driveLoss, std::abs(wheels) * (wheels > 0.0 ? 1.0 / 0.9 - 1.0 : 0.1), 1e-6) << wheels;
        const double current = balance.battery / settings.voltage;
        EXPECT_NEAR(balance.batteryLoss, settings.resistance * current * current, 1e-6) << wheels;
        EXPECT_NEAR(balance.battery, wheels + 300.0 + balance.driveLoss + balance.batteryLoss, 1e-6) << wheels;
    }
}

TEST(DriverModel, HoldsTheStandingCarAndForgetsWhatItIsBehind) {
    double deviation = 3.0;
    EXPECT_LT(pressPedal({}, 0.0, 0.0, 0.01, 0.1, deviation), 0.0);
    EXPECT_EQ(deviation, 0.0);
}

TEST(DriverModel, DoesNotRememberWhatAFullPedalCannotChange) {
    double deviation = 0.0;
    EXPECT_EQ(pressPedal({}, 30.0, 0.0, 10.0, 0.1, deviation), 1.0);
    EXPECT_EQ(pressPedal({}, 10.0, 0.0, 30.0, 0.1, deviation), -1.0);
    EXPECT_EQ(deviation, 0.0);
    EXPECT_LT(pressPedal({}, 20.0, 0.0, 19.0, 0.1, deviation), 1.0);
    EXPECT_NEAR(deviation, 0.1, 1e-12);
}

}  // namespace car_models_test
