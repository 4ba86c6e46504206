#include "kr/core/unit_spelling.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace unit_spelling_test {

using Kr::findUnitBySpelling;
using Kr::KrPhysicalDimension;
using Dimension = KrPhysicalDimension::ePhysicalDimension;

struct TypedValue {
    const char* name;
    const char* text;
    Dimension dimension;
    double valueSI;
};

class WhatPeopleType : public testing::TestWithParam<TypedValue> {};

TEST_P(WhatPeopleType, IsRead) {
    const auto read = KrPhysicalDimension::parse(GetParam().text, GetParam().dimension);
    ASSERT_TRUE(read) << GetParam().text;
    EXPECT_DOUBLE_EQ(*read, GetParam().valueSI) << GetParam().text;
}

constexpr double kPoundFoot = 1.3558179483314004;

INSTANTIATE_TEST_SUITE_P(
    Spellings, WhatPeopleType,
    testing::Values(
        TypedValue{"BlankAsProduct", "10 N m", Kr::kTorque, 10.0},
        TypedValue{"AsteriskAsProduct", "10 N*m", Kr::kTorque, 10.0},
        TypedValue{"AsteriskBetweenBlanks", "10 N * m", Kr::kTorque, 10.0},
        TypedValue{"MiddleDotAsProduct", "10 N\u00B7m", Kr::kTorque, 10.0},
        TypedValue{"DotOperatorAsProduct", "10 N\u22C5m", Kr::kTorque, 10.0},
        TypedValue{"NoSignOfAProduct", "10 Nm", Kr::kTorque, 10.0},
        TypedValue{"ExponentAsDigit", "5 m/s2", Kr::kAcceleration, 5.0},
        TypedValue{"ExponentWithCaret", "5 m/s^2", Kr::kAcceleration, 5.0},
        TypedValue{"ExponentAsSuperscript", "5 m/s\u00B2", Kr::kAcceleration, 5.0},
        TypedValue{"BlanksAroundSigns", "5 m / s ^ 2", Kr::kAcceleration, 5.0},
        TypedValue{"ProductAndExponent", "3 kg*m2", Kr::kMomentOfInertia, 3.0},
        TypedValue{"NoBreakSpace", "90\u00A0km/h", Kr::kSpeed, 25.0},
        TypedValue{"KilometresPerHour", "90 km/h", Kr::kSpeed, 25.0}, TypedValue{"KPH", "90 kph", Kr::kSpeed, 25.0},
        TypedValue{"KilowattHours", "1.2 kWh", Kr::kEnergy, 4.32e6},
        TypedValue{"KilowattHoursWithBlank", "1.2 kW h", Kr::kEnergy, 4.32e6},
        TypedValue{"Celsius", "20 \u00B0C", Kr::kTemperature, 293.15},
        TypedValue{"CelsiusAsOneSign", "20 \u2103", Kr::kTemperature, 293.15},
        TypedValue{"CelsiusOfKeyboards", "20 degC", Kr::kTemperature, 293.15},
        TypedValue{"CelsiusAsLetter", "20 C", Kr::kTemperature, 293.15},
        TypedValue{"CelsiusAsWords", "20 degrees Celsius", Kr::kTemperature, 293.15},
        TypedValue{"KnotSymbol", "3 kn", Kr::kSpeed, 3.0 * 1852.0 / 3600.0},
        TypedValue{"KnotWord", "3 knots", Kr::kSpeed, 3.0 * 1852.0 / 3600.0},
        TypedValue{"MilesPerHour", "60 mph", Kr::kSpeed, 26.8224},
        TypedValue{"PoundForce", "100 lbf", Kr::kForce, 444.82216152605},
        TypedValue{"PoundFootTurned", "12 ft lbf", Kr::kTorque, 12.0 * kPoundFoot},
        TypedValue{"PoundFootWithHyphen", "12 lb-ft", Kr::kTorque, 12.0 * kPoundFoot},
        TypedValue{"PoundFeet", "12 pound-feet", Kr::kTorque, 12.0 * kPoundFoot},
        TypedValue{"SmallLitre", "5 l", Kr::kVolume, 5e-3}, TypedValue{"GreatLitre", "5 L", Kr::kVolume, 5e-3},
        TypedValue{"AmericanLiters", "5 liters", Kr::kVolume, 5e-3},
        TypedValue{"NumberWithExponent", "1e3 rpm", Kr::kAngularSpeed, 1e3 * 3.141592653589793 / 30.0},
        TypedValue{"DegreesOfKeyboards", "45 deg", Kr::kAngle, 3.141592653589793 / 4.0},
        TypedValue{"Plural", "12 metres", Kr::kLength, 12.0},
        TypedValue{"AmericanKilometers", "12 Kilometers", Kr::kLength, 12e3},
        TypedValue{"Feet", "10 feet", Kr::kLength, 3.048}, TypedValue{"Inches", "10 inches", Kr::kLength, 0.254},
        TypedValue{"Hours", "3 hours", Kr::kTime, 10800.0},
        TypedValue{"NameOfSeveralWords", "18 kilometres per hour", Kr::kSpeed, 5.0},
        TypedValue{"FeetPerSecond", "10 feet per second", Kr::kSpeed, 3.048},
        TypedValue{"MicroSign", "5 \u00B5m", Kr::kLength, 5e-6}, TypedValue{"GreekMu", "5 \u03BCm", Kr::kLength, 5e-6},
        TypedValue{"OhmSign", "5 k\u2126", Kr::kResistance, 5e3}),
    [](const auto& each) { return std::string(each.param.name); });

// A product without its sign must not turn nonsense into a unit.
struct Nonsense {
    const char* name;
    const char* text;
    Dimension dimension;
};
class NoUnit : public testing::TestWithParam<Nonsense> {};

TEST_P(NoUnit, IsRefused) {
    EXPECT_EQ(KrPhysicalDimension::parse(GetParam().text, GetParam().dimension), std::nullopt) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Spellings, NoUnit,
    testing::Values(Nonsense{"TwoMetresForMillimetre", "5 m m", Kr::kLength},
                    Nonsense{"ProductForKilometre", "5 k*m", Kr::kLength}, Nonsense{"WrongCase", "5 MM", Kr::kLength},
                    Nonsense{"WrongCaseOfMega", "5 mN", Kr::kForce}, Nonsense{"LeadingSign", "5 *m", Kr::kLength},
                    Nonsense{"TrailingSign", "5 N*", Kr::kForce}, Nonsense{"TwoSigns", "5 N**m", Kr::kTorque},
                    Nonsense{"WrongExponent", "5 m/s3", Kr::kAcceleration}, Nonsense{"Area", "5 m^2", Kr::kLength},
                    Nonsense{"CelsiusAsCharge", "5 degC", Kr::kCharge}, Nonsense{"Speed", "5 km/h", Kr::kLength},
                    Nonsense{"GluedWords", "5 kilometreperhour", Kr::kSpeed},
                    Nonsense{"BrokenUtf8", "5 \xC2", Kr::kLength},
                    Nonsense{"LongerThanAnyUnit",
                             "5 metres per second per second per second per second per second per second per second",
                             Kr::kSpeed}),
    [](const auto& each) { return std::string(each.param.name); });

std::string withoutProducts(const std::string& symbol) {
    std::string text;
    for (std::size_t i = 0; i < symbol.size(); ++i) {
        const bool isDot = symbol.compare(i, 2, "\u00B7") == 0;
        if (!isDot && symbol[i] != ' ' && symbol[i] != '^') text += symbol[i];
        i += isDot ? 1 : 0;
    }
    return text;
}

std::string pluralOf(const std::string& words) {
    return words.ends_with('s') ? words : words + "s";
}

void expectMeans(const KrPhysicalDimension::Unit& unit, const std::string& spelling) {
    const auto* found = findUnitBySpelling(KrPhysicalDimension::dimensionOf(unit.hint), spelling);
    ASSERT_NE(found, nullptr) << spelling;
    EXPECT_STREQ(found->name, unit.name) << spelling;
}

// Of two units with one spelling, the later one would not be found.
TEST(UnitSpelling, EachMeansOneUnitOfItsDimension) {
    for (int i = 1; i < KrPhysicalDimension::kDimensionCount; ++i) {
        for (const auto& unit : KrPhysicalDimension::getUnits(static_cast<Dimension>(i))) {
            expectMeans(unit, unit.name);
            expectMeans(unit, pluralOf(unit.name));
            if (*unit.symbol == '\0') continue;  // a ratio
            for (const std::string symbol : {unit.symbol, unit.plainSymbol}) {
                expectMeans(unit, symbol);
                expectMeans(unit, withoutProducts(symbol));
            }
        }
    }
    for (const auto& alias : Kr::getUnitAliases()) {
        const auto* unit = KrPhysicalDimension::getUnit(alias.hint);
        ASSERT_NE(unit, nullptr) << alias.text;
        expectMeans(*unit, alias.text);
        expectMeans(*unit, alias.isWord ? pluralOf(alias.text) : withoutProducts(alias.text));
    }
}

}  // namespace unit_spelling_test
