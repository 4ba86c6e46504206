#include "kr/core/physical_dimension.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <set>
#include <string>

namespace physical_dimension_test {

using Kr::KrPhysicalDimension;
using Dimension = KrPhysicalDimension::ePhysicalDimension;
using Hint = KrPhysicalDimension::eDimensionHint;

struct ConversionCase {
    const char* name;
    double value;
    Hint hint;
    double valueSI;
};

class DimensionConversion : public testing::TestWithParam<ConversionCase> {};

// The factors that are not plain powers of ten, each against a figure known from elsewhere.
TEST_P(DimensionConversion, GoesBothWays) {
    const auto& [name, value, hint, valueSI] = GetParam();
    EXPECT_NEAR(KrPhysicalDimension::toSI(value, hint), valueSI, 1e-9 * std::abs(valueSI) + 1e-12);
    EXPECT_NEAR(KrPhysicalDimension::fromSI(valueSI, hint), value, 1e-9 * std::abs(value) + 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Units, DimensionConversion,
                         testing::Values(ConversionCase{"KilometrePerHour", 36, Hint::kKilometrePerHour, 10},
                                         ConversionCase{"MilePerHour", 60, Hint::kMilePerHour, 26.8224},
                                         ConversionCase{"Knot", 10, Hint::kKnot, 5.144444444444},
                                         ConversionCase{"Celsius", -40, Hint::kDegreeCelsius, 233.15},
                                         ConversionCase{"Fahrenheit", -40, Hint::kDegreeFahrenheit, 233.15},
                                         ConversionCase{"FreezingPoint", 32, Hint::kDegreeFahrenheit, 273.15},
                                         ConversionCase{"Mile", 1, Hint::kMile, 1609.344},
                                         ConversionCase{"Ounce", 1, Hint::kOunce, 0.028349523125},
                                         ConversionCase{"Degree", 180, Hint::kDegree, 3.141592653589793},
                                         ConversionCase{"Rpm", 60, Hint::kRevolutionPerMinute, 6.283185307179586},
                                         ConversionCase{"PoundForce", 1, Hint::kPoundForce, 4.4482216152605},
                                         ConversionCase{"PoundFoot", 1, Hint::kPoundFoot, 1.3558179483314004},
                                         ConversionCase{"MetricHorsepower", 1, Hint::kMetricHorsepower, 735.49875},
                                         ConversionCase{"Horsepower", 1, Hint::kMechanicalHorsepower,
                                                        745.69987158227022},
                                         ConversionCase{"Psi", 1, Hint::kPoundPerSquareInch, 6894.757293168361},
                                         ConversionCase{"Gallon", 1, Hint::kUSGallon, 0.003785411784},
                                         ConversionCase{"GallonPerMinute", 1, Hint::kUSGallonPerMinute, 6.30901964e-5},
                                         ConversionCase{"KilowattHour", 1, Hint::kKilowattHour, 3.6e6},
                                         ConversionCase{"AmpereHour", 1, Hint::kAmpereHour, 3600},
                                         ConversionCase{"NoHint", 5, Hint::kNone, 5},
                                         ConversionCase{"UnknownHint", 5, static_cast<Hint>(0x7F7F), 5},
                                         ConversionCase{"NegativeHint", 5, static_cast<Hint>(-1), 5}),
                         [](const auto& each) { return std::string(each.param.name); });

// A unit whose texts are taken by a neighbour, or that lacks its inverse, would be found here.
TEST(PhysicalDimension, EveryUnitReadsBackWhatItShows) {
    std::set<std::string> names;
    for (int i = 1; i < KrPhysicalDimension::kDimensionCount; ++i) {
        const auto dimension = static_cast<Dimension>(i);
        const auto units = KrPhysicalDimension::getUnits(dimension);
        ASSERT_FALSE(units.empty()) << KrPhysicalDimension::nameFor(dimension);
        EXPECT_EQ(units.front().factor, 1.0);
        for (const auto& unit : units) {
            EXPECT_TRUE(names.insert(unit.name).second) << unit.name;
            EXPECT_EQ(KrPhysicalDimension::getUnit(unit.hint), &unit);
            EXPECT_EQ(KrPhysicalDimension::dimensionOf(unit.hint), dimension);
            for (const double valueSI : {0.0, 12.345678901234, -3.5e-7, 1e12}) {
                const std::string text = KrPhysicalDimension::format(valueSI, dimension, unit.hint);
                const auto read = KrPhysicalDimension::parse(text, dimension);
                ASSERT_TRUE(read) << text;
                EXPECT_NEAR(*read, valueSI, 1e-12 * std::max(std::abs(valueSI), std::abs(unit.offset))) << text;
                const std::string plain = text.substr(0, text.find(' ')) + " " + unit.plainSymbol;
                EXPECT_EQ(KrPhysicalDimension::parse(plain, dimension, unit.hint), read) << plain;
            }
        }
    }
}

struct ShowCase {
    const char* name;
    double valueSI;
    Dimension dimension;
    Hint hint;
    const char* text;
};

class DimensionFormat : public testing::TestWithParam<ShowCase> {};

TEST_P(DimensionFormat, ShowsNumberAndUnit) {
    const auto& each = GetParam();
    EXPECT_EQ(KrPhysicalDimension::format(each.valueSI, each.dimension, each.hint), each.text);
}

INSTANTIATE_TEST_SUITE_P(
    Values, DimensionFormat,
    testing::Values(ShowCase{"SI", 0.1, Kr::kSpeed, Hint::kNone, "0.1 m/s"},
                    ShowCase{"Converted", 12.5 / 3.6, Kr::kSpeed, Hint::kKilometrePerHour, "12.5 km/h"},
                    ShowCase{"HintOfAnotherDimension", 2, Kr::kMass, Hint::kMetre, "2 kg"},
                    ShowCase{"NoDimension", 2.5, Dimension::kNone, Hint::kMetre, "2.5"},
                    ShowCase{"UnknownDimension", 2.5, static_cast<Dimension>(200), Hint::kNone, "2.5"},
                    ShowCase{"RatioHasNoSymbol", 0.5, Kr::kRatio, Hint::kNone, "0.5"},
                    ShowCase{"Percent", 0.5, Kr::kRatio, Hint::kPercent, "50 %"},
                    ShowCase{"Longest", -1.2345678901234567e-300, Kr::kMass, Hint::kTonne, "-1.23456789012346e-303 t"},
                    ShowCase{"Infinite", std::numeric_limits<double>::infinity(), Kr::kMass, Hint::kGram, "inf g"}),
    [](const auto& each) { return std::string(each.param.name); });

struct ParseCase {
    const char* name;
    std::string_view text;
    Dimension dimension;
    Hint hint;
    std::optional<double> valueSI;
};

class DimensionParse : public testing::TestWithParam<ParseCase> {};

TEST_P(DimensionParse, ReadsOrRefuses) {
    const auto& [name, text, dimension, hint, valueSI] = GetParam();
    const auto read = KrPhysicalDimension::parse(text, dimension, hint);
    ASSERT_EQ(read.has_value(), valueSI.has_value());
    if (read) {
        EXPECT_DOUBLE_EQ(*read, *valueSI);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DimensionParse,
    testing::Values(ParseCase{"WithUnit", "12.5 km/h", Kr::kSpeed, Hint::kNone, 12.5 / 3.6},
                    ParseCase{"WithoutBlank", "12.5km/h", Kr::kSpeed, Hint::kKnot, 12.5 / 3.6},
                    ParseCase{"Padded", " \t+1e3  g \n", Kr::kMass, Hint::kNone, 1.0},
                    ParseCase{"BareInHint", "36", Kr::kSpeed, Hint::kKilometrePerHour, 10.0},
                    ParseCase{"BareWithForeignHint", "36", Kr::kSpeed, Hint::kMetre, 36.0},
                    ParseCase{"BareInSI", "36", Kr::kSpeed, Hint::kNone, 36.0},
                    ParseCase{"NoDimension", "-7.25", Dimension::kNone, Hint::kNone, -7.25},
                    ParseCase{"Empty", "", Kr::kSpeed, Hint::kNone, std::nullopt},
                    ParseCase{"Blank", "  ", Kr::kSpeed, Hint::kNone, std::nullopt},
                    ParseCase{"OnlyAUnit", "km/h", Kr::kSpeed, Hint::kNone, std::nullopt},
                    ParseCase{"UnknownUnit", "5 parsecs", Kr::kLength, Hint::kNone, std::nullopt},
                    ParseCase{"UnitOfAnotherDimension", "5 kg", Kr::kLength, Hint::kNone, std::nullopt},
                    ParseCase{"UnitWithoutDimension", "5 kg", Dimension::kNone, Hint::kNone, std::nullopt},
                    ParseCase{"TwoNumbers", "5 6", Kr::kLength, Hint::kNone, std::nullopt},
                    ParseCase{"TwoSigns", "+-5 m", Kr::kLength, Hint::kNone, std::nullopt},
                    ParseCase{"TooLarge", "1e999 m", Kr::kLength, Hint::kNone, std::nullopt},
                    ParseCase{"TooLargeInSI", "1e307 km", Kr::kLength, Hint::kNone, std::nullopt},
                    ParseCase{"Infinite", "inf m", Kr::kLength, Hint::kNone, std::nullopt},
                    ParseCase{"NotANumber", "nan", Dimension::kNone, Hint::kNone, std::nullopt},
                    ParseCase{"Comma", "12,5 m", Kr::kLength, Hint::kNone, std::nullopt},
                    ParseCase{"ZeroByte", std::string_view("5\0m", 3), Kr::kLength, Hint::kNone, std::nullopt}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(PhysicalDimension, NamesEndWhereTheDimensionsEnd) {
    EXPECT_STREQ(KrPhysicalDimension::nameFor(Dimension::kNone), "None");
    EXPECT_STREQ(KrPhysicalDimension::nameFor(Kr::kCharge), "Charge");
    EXPECT_STREQ(KrPhysicalDimension::nameFor(static_cast<Dimension>(KrPhysicalDimension::kDimensionCount)),
                 "Invalid physical dimension");
    EXPECT_TRUE(KrPhysicalDimension::getUnits(static_cast<Dimension>(255)).empty());
}

}  // namespace physical_dimension_test
