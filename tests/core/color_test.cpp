#include "kr/core/color.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <vector>

#include "kr/core/random_color_generator.h"

namespace color_test {

using Kr::KrColor;

void expectColor(const KrColor& color, double r, double g, double b, double a) {
    EXPECT_FLOAT_EQ(color.r(), static_cast<float>(r));
    EXPECT_FLOAT_EQ(color.g(), static_cast<float>(g));
    EXPECT_FLOAT_EQ(color.b(), static_cast<float>(b));
    EXPECT_FLOAT_EQ(color.a(), static_cast<float>(a));
}

TEST(Color, ArithmeticIncludesAlphaAndDoesNotClamp) {
    const float components[] = {0.5F, 0.75F, 0.0F, 1.0F};
    const KrColor color(components);
    expectColor(color + KrColor(), 1.5, 1.75, 1, 2);
    expectColor(color - KrColor(1, 1, 1, 0.5), -0.5, -0.25, -1, 0.5);
    expectColor(color * 2.0F, 1, 1.5, 0, 2);
    EXPECT_EQ(KrColor(static_cast<const float*>(nullptr)), KrColor());
    EXPECT_FALSE(KrColor(0, 0, 0, 1) == KrColor(0, 0, 0, 0));
}

TEST(Color, HsvFollowsTheSectorsAndOddHuesDoNotTrap) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    struct Case {
        double h, s, v, r, g, b;
    };
    const Case cases[] = {{45, 0.5, 0.8, 0.8, 0.7, 0.4},  {105, 0.5, 0.8, 0.5, 0.8, 0.4},
                          {120, 0.5, 0.8, 0.4, 0.8, 0.4}, {165, 0.5, 0.8, 0.4, 0.8, 0.7},
                          {225, 0.5, 0.8, 0.4, 0.5, 0.8}, {285, 0.5, 0.8, 0.7, 0.4, 0.8},
                          {345, 0.5, 0.8, 0.8, 0.4, 0.5}, {360, 1, 1, 1, 0, 1},
                          {-30, 1, 1, 1, 0, 0.5},         {kInfinity, 0, 0.5, 0.5, 0.5, 0.5}};
    for (const auto& [h, s, v, r, g, b] : cases) {
        SCOPED_TRACE(h);
        expectColor(KrColor::HSVtoRGB(h, s, v), r, g, b, 1);
    }
    EXPECT_EQ(KrColor::HSVtoRGB(std::numeric_limits<double>::quiet_NaN(), 1, 1).r(), 1.0F);
}

TEST(Color, RandomColorComesFromTwoDraws) {
    std::srand(42);
    const int first = std::rand(), second = std::rand();
    std::srand(42);
    expectColor(KrColor::generateRandomColor(0.5F), (first & 255) / 256.0, ((first >> 8) & 255) / 256.0,
                (second & 255) / 256.0, 0.5);
}

TEST(RandomColor, BoundsAreBroughtIntoOrder) {
    struct Case {
        int minimum, maximum, lowest, highest;
    };
    for (const auto& [minimum, maximum, lowest, highest] :
         {Case{-5, 300, 0, 255}, Case{10, 5, 10, 10}, Case{-9, -3, 0, 0}, Case{300, 310, 300, 300}}) {
        KrSim::RandomColorGenerator generator;
        generator.setRandomColorBoundaries(minimum, maximum, 7, 7, minimum, maximum);
        std::vector<float> channels;
        for (int i = 0; i < 20000; ++i) {
            const KrColor color = generator.generateRandomColor();
            ASSERT_FLOAT_EQ(color.g(), 7.0F / 255.0F);
            channels.insert(channels.end(), {color.r(), color.b()});
        }
        const auto [least, most] = std::minmax_element(channels.begin(), channels.end());
        EXPECT_FLOAT_EQ(*least * 255.0F, static_cast<float>(lowest));
        EXPECT_FLOAT_EQ(*most * 255.0F, static_cast<float>(highest));
    }
}

TEST(RandomColor, SameSeedGivesSameColoursInTheOrderRedGreenBlue) {
    KrSim::RandomColorGenerator first, second, other(7);
    const KrColor color = first.generateRandomColor();
    EXPECT_EQ(color, second.generateRandomColor());
    EXPECT_FALSE(color == other.generateRandomColor());
    // The top bytes of the first three numbers of MT19937 with seed 5489: 3499211612, 581869302, 3890346734.
    expectColor(color, 208 / 255.0, 34 / 255.0, 231 / 255.0, 1);
}

}  // namespace color_test
