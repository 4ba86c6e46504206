#include "kr/experiments/field_text.h"

#include <gtest/gtest.h>

#include <string>

#include "kr/core/physical_dimension.h"
#include "kr/data/field.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/factory/unit_system_extension.h"
#include "kr/math/vector3.h"
#include "tests/experiments/world.h"

namespace field_text_test {

using experiments_test::World;
using Hint = Kr::KrPhysicalDimension::eDimensionHint;
using Kr::eUnitSystem;
using KrExperiments::ShownUnits;

constexpr ShownUnits kSI = eUnitSystem::kSI;
constexpr ShownUnits kUS = eUnitSystem::kUSCustomary;

struct Shown {
    const char* name;
    Hint hint;
    ShownUnits units;
    const char* text;
};
class ShownSpeed : public testing::TestWithParam<Shown> {};

TEST_P(ShownSpeed, IsInTheUnitOfTheSystem) {
    KrData::Field<double> field(Kr::KrID("Speed"), nullptr, 26.8224);
    field.setPhysicalDimension(Kr::kSpeed);
    field.setPhysicalDimensionHint(GetParam().hint);
    EXPECT_EQ(KrExperiments::formatField(field, GetParam().units), GetParam().text);
    // What is shown can be given back, with its unit and without.
    const std::string text = GetParam().text;
    for (const auto& each : {text, text.substr(0, text.find(' '))}) {
        field.setValue(0.0);
        EXPECT_EQ(KrExperiments::setField(field, each, GetParam().units), "");
        EXPECT_NEAR(field.getValue(), 26.8224, 1e-14) << each;
    }
}

INSTANTIATE_TEST_SUITE_P(All, ShownSpeed,
                         testing::Values(Shown{"DisplayUnitOfTheField", Hint::kMilePerHour, {}, "60 mph"},
                                         Shown{"UnitOfTheSystem", Hint::kMilePerHour, kUS, "60 mph"},
                                         Shown{"CounterpartInSI", Hint::kMilePerHour, kSI, "96.56064 km/h"},
                                         Shown{"CounterpartInUS", Hint::kKilometrePerHour, kUS, "60 mph"},
                                         Shown{"WithoutHint", Hint::kNone, kUS, "88 ft/s"}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(ShownValue, OfEachTypeHasTheDigitsOfItsType) {
    KrData::Field<float> real(Kr::KrID("Real"), nullptr, 0.3048F);
    KrData::Field<int> whole(Kr::KrID("Whole"), nullptr, 3);
    KrData::Field<KrMath::Vector3T<double>> place(Kr::KrID("Place"), nullptr, {0.3048, 3.048, 0.0});
    KrData::Field<bool> flag(Kr::KrID("Flag"), nullptr, true);
    KrData::FieldBase* const fields[] = {&real, &whole, &place, &flag};
    for (auto* each : fields)
        each->setPhysicalDimension(Kr::kLength);
    EXPECT_EQ(KrExperiments::formatField(real, kUS), "1 ft");
    EXPECT_EQ(KrExperiments::formatField(whole, kUS), "9.84251968503937 ft");
    EXPECT_EQ(KrExperiments::formatField(place, kUS), "1 10 0 ft");
    EXPECT_EQ(KrExperiments::formatField(real), "0.3048 m");
    EXPECT_EQ(KrExperiments::formatField(place), "0.3048 3.048 0 m");
}

TEST(SetField, NamesTheRangeInTheShownUnit) {
    const World world;
    EXPECT_EQ(KrExperiments::setField(*world.first->mass.getField(), "1e6", kUS),
              "'1e6' is out of the range of the field, 2.204622621848776 lb to 220462.2621848776 lb");
}

TEST(UnitSystemOfTheContent, IsThatOfTheFirstOne) {
    const World world;
    EXPECT_EQ(KrExperiments::findUnitSystem(world.application), std::nullopt);
    const auto extension = Kr::KrSmartPtr<KrSim::KrExtension>(
        KrSim::KrExtensionFactory::create(KrSim::Keys::UnitSystem::kInternalFactoryKey));
    world.application.add(extension.get());
    EXPECT_EQ(KrExperiments::findUnitSystem(world.application), kSI);
    auto* implementation = extension->getImplementationAs<KrSim::KrUnitSystem>();
    ASSERT_NE(implementation, nullptr);
    EXPECT_TRUE(implementation->system.set(Kr::KrEnum(eUnitSystem::kUSCustomary)));
    EXPECT_EQ(KrExperiments::findUnitSystem(world.application), kUS);
}

}  // namespace field_text_test
