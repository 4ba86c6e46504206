#include "kr/core/color.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <ostream>
#include <string>

#include "kr/core/random_color_generator.h"

namespace color_test {

using Kr::KrColor;

void expectColor(const KrColor& color, double r, double g, double b, double a) {
    EXPECT_FLOAT_EQ(color.r(), static_cast<float>(r));
    EXPECT_FLOAT_EQ(color.g(), static_cast<float>(g));
    EXPECT_FLOAT_EQ(color.b(), static_cast<float>(b));
    EXPECT_FLOAT_EQ(color.a(), static_cast<float>(a));
}

TEST(Color, StartsWhiteAndComparesByComponent) {
    expectColor(KrColor(), 1, 1, 1, 1);
    EXPECT_EQ(KrColor(static_cast<const float*>(nullptr)), KrColor());
    const float components[] = {0.1F, 0.2F, 0.3F, 0.4F};
    expectColor(KrColor(components), 0.1, 0.2, 0.3, 0.4);
    EXPECT_FALSE(KrColor(0, 0, 0, 1) == KrColor(0, 0, 0, 0));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(KrColor(nan, 0, 0) == KrColor(nan, 0, 0));
}

TEST(Color, ArithmeticIncludesAlphaAndDoesNotClamp) {
    KrColor color(0.5, 0.25, 0, 1);
    color.g() = 0.75F;
    expectColor(color + KrColor(1, 1, 1, 1), 1.5, 1.75, 1, 2);
    expectColor(color - KrColor(1, 1, 1, 0.5), -0.5, -0.25, -1, 0.5);
    expectColor(color * 2.0F, 1, 1.5, 0, 2);
}

struct HsvCase {
    const char* name;
    double h, s, v;
    double r, g, b;
};

class ColorHsv : public testing::TestWithParam<HsvCase> {};

TEST_P(ColorHsv, FollowsTheSectors) {
    const auto& [name, h, s, v, r, g, b] = GetParam();
    expectColor(KrColor::HSVtoRGB(h, s, v), r, g, b, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Hues, ColorHsv,
    testing::Values(HsvCase{"Red", 0, 1, 1, 1, 0, 0}, HsvCase{"Orange", 30, 1, 1, 1, 0.5, 0},
                    HsvCase{"Yellow", 60, 1, 1, 1, 1, 0}, HsvCase{"Green", 120, 1, 1, 0, 1, 0},
                    HsvCase{"Cyan", 180, 1, 1, 0, 1, 1}, HsvCase{"Blue", 240, 1, 1, 0, 0, 1},
                    HsvCase{"Magenta", 300, 1, 1, 1, 0, 1}, HsvCase{"FullTurnIsNotWrapped", 360, 1, 1, 1, 0, 1},
                    HsvCase{"BelowZeroIsNotWrapped", -30, 1, 1, 1, 0, 0.5}, HsvCase{"Grey", 77, 0, 0.5, 0.5, 0.5, 0.5},
                    HsvCase{"PaleGreen", 120, 0.5, 0.8, 0.4, 0.8, 0.4}, HsvCase{"HugeHue", 6e30, 0, 1, 1, 1, 1}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(Color, OddHuesDoNotTrap) {
    EXPECT_EQ(KrColor::HSVtoRGB(std::numeric_limits<double>::infinity(), 1, 1).r(), 1.0F);
    EXPECT_EQ(KrColor::HSVtoRGB(std::numeric_limits<double>::quiet_NaN(), 1, 1).r(), 1.0F);
}

TEST(Color, RandomColorComesFromTwoDraws) {
    std::srand(42);
    const int first = std::rand();
    const int second = std::rand();
    std::srand(42);
    expectColor(KrColor::generateRandomColor(0.5F), (first & 255) / 256.0, ((first >> 8) & 255) / 256.0,
                (second & 255) / 256.0, 0.5);
}

struct BoundsCase {
    const char* name;
    int minimum, maximum;
    double lowest, highest;  // what comes out, times 255
};

class RandomColorBounds : public testing::TestWithParam<BoundsCase> {};

TEST_P(RandomColorBounds, AreBroughtIntoOrder) {
    const auto& [name, minimum, maximum, lowest, highest] = GetParam();
    KrSim::RandomColorGenerator generator;
    generator.setRandomColorBoundaries(minimum, maximum, 7, 7, minimum, maximum);
    double least = 1e9;
    double most = -1e9;
    for (int i = 0; i < 20000; ++i) {
        const KrColor color = generator.generateRandomColor();
        ASSERT_FLOAT_EQ(color.g(), 7.0F / 255.0F);
        for (const float channel : {color.r(), color.b()}) {
            least = std::min(least, channel * 255.0);
            most = std::max(most, channel * 255.0);
        }
    }
    EXPECT_NEAR(least, lowest, 1e-3);
    EXPECT_NEAR(most, highest, 1e-3);
}

INSTANTIATE_TEST_SUITE_P(Bounds, RandomColorBounds,
                         testing::Values(BoundsCase{"Outside", -5, 300, 0, 255}, BoundsCase{"Swapped", 10, 5, 10, 10},
                                         BoundsCase{"Inside", 250, 254, 250, 254},
                                         BoundsCase{"BelowZero", -9, -3, 0, 0},
                                         BoundsCase{"MinimumAbove255Stays", 300, 310, 300, 300}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(RandomColor, SameSeedGivesSameColoursInTheOrderRedGreenBlue) {
    KrSim::RandomColorGenerator first, second, other(7);
    const KrColor color = first.generateRandomColor();
    EXPECT_EQ(color, second.generateRandomColor());
    EXPECT_FALSE(color == other.generateRandomColor());
    // The top bytes of the first three numbers of MT19937 with seed 5489: 3499211612, 581869302, 3890346734.
    expectColor(color, 208 / 255.0, 34 / 255.0, 231 / 255.0, 1);
}

}  // namespace color_test
