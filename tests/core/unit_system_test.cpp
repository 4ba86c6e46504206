#include "kr/core/unit_system.h"

#include <gtest/gtest.h>

#include <string>

#include "kr/core/enum.h"

namespace unit_system_test {

using Kr::chooseUnit;
using Kr::eUnitSystem;
using Kr::KrPhysicalDimension;
using Dimension = KrPhysicalDimension::ePhysicalDimension;
using Hint = KrPhysicalDimension::eDimensionHint;

struct Choice {
    const char* name;
    Dimension dimension;
    Hint hint;
    Hint inSI;
    Hint inUS;
};
class DisplayUnit : public testing::TestWithParam<Choice> {};

TEST_P(DisplayUnit, FollowsTheSystem) {
    const auto& [name, dimension, hint, inSI, inUS] = GetParam();
    EXPECT_EQ(chooseUnit(dimension, hint, eUnitSystem::kSI), inSI);
    EXPECT_EQ(chooseUnit(dimension, hint, eUnitSystem::kUSCustomary), inUS);
}

INSTANTIATE_TEST_SUITE_P(
    All, DisplayUnit,
    testing::Values(
        Choice{"KilometrePerHour", Kr::kSpeed, Hint::kKilometrePerHour, Hint::kKilometrePerHour, Hint::kMilePerHour},
        Choice{"MilePerHour", Kr::kSpeed, Hint::kMilePerHour, Hint::kKilometrePerHour, Hint::kMilePerHour},
        Choice{"KnotOfBoth", Kr::kSpeed, Hint::kKnot, Hint::kKnot, Hint::kKnot},
        Choice{"LengthWithoutHint", Kr::kLength, Hint::kNone, Hint::kMetre, Hint::kFoot},
        Choice{"HintOfAnotherDimension", Kr::kLength, Hint::kMilePerHour, Hint::kMetre, Hint::kFoot},
        Choice{"Kilometre", Kr::kLength, Hint::kKilometre, Hint::kKilometre, Hint::kMile},
        Choice{"Kilogram", Kr::kMass, Hint::kKilogram, Hint::kKilogram, Hint::kPound},
        Choice{"Kilonewton", Kr::kForce, Hint::kKilonewton, Hint::kKilonewton, Hint::kPoundForce},
        Choice{"Torque", Kr::kTorque, Hint::kNone, Hint::kNewtonMetre, Hint::kPoundFoot},
        Choice{"Kilowatt", Kr::kPower, Hint::kKilowatt, Hint::kKilowatt, Hint::kMechanicalHorsepower},
        Choice{"Kelvin", Kr::kTemperature, Hint::kNone, Hint::kKelvin, Hint::kDegreeFahrenheit},
        Choice{"Fahrenheit", Kr::kTemperature, Hint::kDegreeFahrenheit, Hint::kDegreeCelsius, Hint::kDegreeFahrenheit},
        Choice{"Bar", Kr::kPressure, Hint::kBar, Hint::kBar, Hint::kPoundPerSquareInch},
        Choice{"Litre", Kr::kVolume, Hint::kLitre, Hint::kLitre, Hint::kUSGallon},
        Choice{"Stiffness", Kr::kStiffness, Hint::kNone, Hint::kNewtonPerMetre, Hint::kPoundForcePerFoot},
        Choice{"Time", Kr::kTime, Hint::kNone, Hint::kSecond, Hint::kSecond},
        Choice{"NoDimension", Dimension::kNone, Hint::kMetre, Hint::kNone, Hint::kNone},
        Choice{"UnknownDimension", static_cast<Dimension>(200), Hint::kMetre, Hint::kNone, Hint::kNone}),
    [](const auto& each) { return std::string(each.param.name); });

// A counterpart of another dimension would show wrong numbers; one that is not of the system would never end.
TEST(UnitSystem, EveryCounterpartIsAUnitOfDimensionAndSystem) {
    for (int i = 1; i < KrPhysicalDimension::kDimensionCount; ++i) {
        const auto dimension = static_cast<Dimension>(i);
        for (const auto& unit : KrPhysicalDimension::getUnits(dimension)) {
            for (const auto system : {eUnitSystem::kSI, eUnitSystem::kUSCustomary}) {
                const auto chosen = chooseUnit(dimension, unit.hint, system);
                EXPECT_EQ(KrPhysicalDimension::dimensionOf(chosen), dimension) << unit.name;
                EXPECT_TRUE(Kr::isUnitOf(chosen, system)) << unit.name;
            }
            EXPECT_EQ(chooseUnit(dimension, unit.hint, std::nullopt), unit.hint) << unit.name;
            EXPECT_TRUE(Kr::isUnitOf(unit.hint, eUnitSystem::kSI) || Kr::isUnitOf(unit.hint, eUnitSystem::kUSCustomary))
                << unit.name;
        }
        EXPECT_TRUE(Kr::isUnitOf(KrPhysicalDimension::getUnits(dimension)[0].hint, eUnitSystem::kSI));
    }
}

TEST(UnitSystem, HasTextsInContent) {
    EXPECT_EQ(Kr::KrEnum(eUnitSystem::kUSCustomary).toString(), "US customary");
}

}  // namespace unit_system_test
