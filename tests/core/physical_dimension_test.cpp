#include "kr/core/physical_dimension.h"

#include <gtest/gtest.h>
#include <algorithm>

#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <set>
#include <string>

namespace physical_dimension_test {

using Kr::KrPhysicalDimension;
using Dimension = KrPhysicalDimension::ePhysicalDimension;
using Hint = KrPhysicalDimension::eDimensionHint;

// The factors that are not plain powers of ten, each against a figure known from elsewhere.
TEST(PhysicalDimension, ConvertsBothWays) {
    struct Case {
        double value;
        Hint hint;
        double valueSI;
    };
    const Case cases[] = {{36, Hint::kKilometrePerHour, 10},
                          {60, Hint::kMilePerHour, 26.8224},
                          {10, Hint::kKnot, 5.144444444444},
                          {-40, Hint::kDegreeCelsius, 233.15},
                          {-40, Hint::kDegreeFahrenheit, 233.15},
                          {32, Hint::kDegreeFahrenheit, 273.15},
                          {1, Hint::kMile, 1609.344},
                          {1, Hint::kOunce, 0.028349523125},
                          {180, Hint::kDegree, 3.141592653589793},
                          {60, Hint::kRevolutionPerMinute, 6.283185307179586},
                          {1, Hint::kPoundForce, 4.4482216152605},
                          {1, Hint::kPoundFoot, 1.3558179483314004},
                          {1, Hint::kMetricHorsepower, 735.49875},
                          {1, Hint::kMechanicalHorsepower, 745.69987158227022},
                          {1, Hint::kPoundPerSquareInch, 6894.757293168361},
                          {1, Hint::kUSGallon, 0.003785411784},
                          {1, Hint::kUSGallonPerMinute, 6.30901964e-5},
                          {1, Hint::kKilowattHour, 3.6e6},
                          {1, Hint::kAmpereHour, 3600},
                          {5, Hint::kNone, 5},
                          {5, static_cast<Hint>(0x7F7F), 5},
                          {5, static_cast<Hint>(-1), 5}};
    for (const auto& [value, hint, valueSI] : cases) {
        EXPECT_NEAR(KrPhysicalDimension::toSI(value, hint), valueSI, 1e-9 * std::abs(valueSI) + 1e-12);
        EXPECT_NEAR(KrPhysicalDimension::fromSI(valueSI, hint), value, 1e-9 * std::abs(value) + 1e-9);
    }
}

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

TEST(PhysicalDimension, ShowsNumberAndUnit) {
    struct Case {
        double valueSI;
        Dimension dimension;
        Hint hint;
        const char* text;
    };
    const Case cases[] = {{0.1, Kr::kSpeed, Hint::kNone, "0.1 m/s"},
                          {12.5 / 3.6, Kr::kSpeed, Hint::kKilometrePerHour, "12.5 km/h"},
                          {2, Kr::kMass, Hint::kMetre, "2 kg"},
                          {2.5, Dimension::kNone, Hint::kMetre, "2.5"},
                          {2.5, static_cast<Dimension>(200), Hint::kNone, "2.5"},
                          {0.5, Kr::kRatio, Hint::kNone, "0.5"},
                          {-1.2345678901234567e-300, Kr::kMass, Hint::kTonne, "-1.2345678901234567e-303 t"},
                          {1e308, Kr::kLength, Hint::kMillimetre, "1e+308 m"},
                          {std::numeric_limits<double>::infinity(), Kr::kMass, Hint::kGram, "inf g"}};
    for (const auto& [valueSI, dimension, hint, text] : cases) {
        EXPECT_EQ(KrPhysicalDimension::format(valueSI, dimension, hint), text);
    }
}

TEST(PhysicalDimension, ReadsANumberWithAnyUnitOfItsDimension) {
    struct Case {
        const char* text;
        Dimension dimension;
        Hint hint;
        double valueSI;
    };
    const Case cases[] = {{"12.5 km/h", Kr::kSpeed, Hint::kNone, 12.5 / 3.6},
                          {"12.5km/h", Kr::kSpeed, Hint::kKnot, 12.5 / 3.6},
                          {" \t+1e3  g \n", Kr::kMass, Hint::kNone, 1.0},
                          {"36", Kr::kSpeed, Hint::kKilometrePerHour, 10.0},
                          {"36", Kr::kSpeed, Hint::kMetre, 36.0},
                          {"-7.25", Dimension::kNone, Hint::kNone, -7.25}};
    for (const auto& [text, dimension, hint, valueSI] : cases) {
        const auto read = KrPhysicalDimension::parse(text, dimension, hint);
        ASSERT_TRUE(read) << text;
        EXPECT_DOUBLE_EQ(*read, valueSI) << text;
    }
}

// Every digit that a value has survives a save as text, in whatever unit.
TEST(PhysicalDimension, ValuesReadBackWithinOneUnitInTheLastPlace) {
    constexpr int kValues = 2000;
    constexpr std::mt19937::result_type kSeed = 20261123;
    std::mt19937 random(kSeed);
    std::uniform_real_distribution<double> mantissa(-10.0, 10.0);
    std::uniform_real_distribution<double> exponent(-12.0, 12.0);
    for (int i = 1; i < KrPhysicalDimension::kDimensionCount; ++i) {
        const auto dimension = static_cast<Dimension>(i);
        for (const auto& unit : KrPhysicalDimension::getUnits(dimension)) {
            for (int n = 0; n < kValues; ++n) {
                const double drawn = mantissa(random) * std::pow(10.0, exponent(random));
                const double value = unit.offset > 0.0 ? std::abs(drawn) : drawn;  // no temperature is below 0 K
                const double size = std::max(std::abs(value), std::abs(unit.offset));
                const double tolerance = std::nextafter(size, std::numeric_limits<double>::infinity()) - size;
                const std::string text = KrPhysicalDimension::format(value, dimension, unit.hint);
                const auto read = KrPhysicalDimension::parse(text, dimension);
                ASSERT_TRUE(read) << text << ", seed " << kSeed;
                ASSERT_LE(std::abs(*read - value), tolerance) << text << ", seed " << kSeed;
            }
        }
    }
}

TEST(PhysicalDimension, RefusesWhatIsNoNumberOfTheDimension) {
    for (const char* text : {"", "  ", "km", "5 kg", "+-5 m", "1e999 m", "1e307 km", "inf m", "12,5 m"})
        EXPECT_EQ(KrPhysicalDimension::parse(text, Kr::kLength), std::nullopt) << text;
    EXPECT_EQ(KrPhysicalDimension::parse("5 kg", Dimension::kNone), std::nullopt);
    EXPECT_EQ(KrPhysicalDimension::parse({"5\0m", 3}, Kr::kLength), std::nullopt);
}

}  // namespace physical_dimension_test
