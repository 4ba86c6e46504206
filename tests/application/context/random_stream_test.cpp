#include "kr/application/context/random_stream.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "kr/application/context/application_context.h"
#include "kr/application/context/internal/philox.h"
#include "kr/application/context/random_streams.h"
#include "tests/support/case_name.h"

namespace random_stream_test {

using KrSim::RandomStream;
using KrSim::RandomStreams;
using testing::ElementsAre;

struct PhiloxCase {
    const char* name;
    std::array<std::uint32_t, 4> counter;
    std::array<std::uint32_t, 2> key;
    std::array<std::uint32_t, 4> block;
};

class Philox : public testing::TestWithParam<PhiloxCase> {};

TEST_P(Philox, MakesTheReferenceValuesOfItsAuthors) {
    EXPECT_EQ(KrSim::detail::makePhiloxBlock(GetParam().counter, GetParam().key), GetParam().block);
}

constexpr std::uint32_t kOnes = 0xffffffff;

INSTANTIATE_TEST_SUITE_P(
    Blocks, Philox,
    testing::Values(PhiloxCase{"Zeros", {0, 0, 0, 0}, {0, 0}, {0x6627e8d5, 0xe169c58d, 0xbc57ac4c, 0x9b00dbd8}},
                    PhiloxCase{"Ones",
                               {kOnes, kOnes, kOnes, kOnes},
                               {kOnes, kOnes},
                               {0x408f276d, 0x41c83b0e, 0xa20bc7c6, 0x6d5451fd}},
                    PhiloxCase{"DigitsOfPi",
                               {0x243f6a88, 0x85a308d3, 0x13198a2e, 0x03707344},
                               {0xa4093822, 0x299f31d0},
                               {0xd16cfe09, 0x94fdcceb, 0x5001e420, 0x24126ea1}}),
    test_support::caseName);

std::vector<std::uint64_t> take(RandomStream stream, int count) {
    std::vector<std::uint64_t> bits;
    for (int i = 0; i < count; ++i)
        bits.push_back(stream.getBits());
    return bits;
}

TEST(RandomStreams, DependOnSeedAndNameOnly) {
    RandomStreams first;
    const auto alone = take(first.find("Road"), 9);
    RandomStreams second;
    take(second.find("Wind"), 5);
    EXPECT_EQ(take(second.find("Road"), 9), alone);
    second.setSeed(1);
    EXPECT_NE(take(second.find("Road"), 9), alone);
    second.setSeed(0);
    EXPECT_EQ(take(second.find("Road"), 9), alone);
    EXPECT_NE(take(second.find("Road 2"), 9), alone);
}

TEST(RandomStreams, ContinueOneSequenceThroughAllHandlesOfAName) {
    RandomStreams all;
    const auto expected = take(RandomStreams().find("Road"), 4);
    auto one = all.find("Road");
    auto moved = std::move(one);
    auto other = all.find("Road");
    EXPECT_THAT((std::vector{moved.getBits(), other.getBits(), one.getBits(), moved.getBits()}),
                testing::ElementsAreArray(expected));
}

TEST(RandomStreams, ContinueFromPositionsAndRestartWhatIsNotAmongThem) {
    RandomStreams all;
    all.setSeed(7);
    auto road = all.find("Road");
    road.getBits();
    const auto positions = all.getPositions();
    const auto expected = take(road, 5);
    auto wind = all.find("Wind");
    const auto gust = wind.getBits();
    all.setSeed(8);
    all.setPositions(positions);
    EXPECT_EQ(take(road, 5), expected);
    EXPECT_EQ(wind.getBits(), gust);
    EXPECT_EQ(all.getSeed(), 7U);

    RandomStreams elsewhere;
    elsewhere.setPositions(positions);
    EXPECT_EQ(take(elsewhere.find("Road"), 5), expected);
}

TEST(RandomStream, WithoutAnApplicationHasTheSeed0) {
    EXPECT_EQ(take(KrSim::ApplicationContext().getRandomStream("Road"), 3), take(RandomStreams().find("Road"), 3));
}

// --- Distributions: fixed sequences, so that a test cannot fail by chance
// ---------------------------------------------

constexpr int kCount = 200000;

TEST(RandomStream, SpreadsUniformNumbersEvenly) {
    RandomStream stream;
    std::array<int, 10> counts{};
    double lowest = 1.0;
    double highest = 0.0;
    for (int i = 0; i < kCount; ++i) {
        const double number = stream.getUniform();
        lowest = std::min(lowest, number);
        highest = std::max(highest, number);
        ++counts[static_cast<std::size_t>(10.0 * number)];
    }
    EXPECT_THAT(counts, testing::Each(testing::AllOf(testing::Gt(19500), testing::Lt(20500))));
    EXPECT_GE(lowest, 0.0);
    EXPECT_LT(highest, 1.0);
}

TEST(RandomStream, HasTheMomentsAndTailsOfTheNormalDistribution) {
    RandomStream stream;
    double sum = 0.0;
    double squares = 0.0;
    double fourths = 0.0;
    int beyondTwo = 0;
    for (int i = 0; i < kCount; ++i) {
        const double number = (stream.getNormal(3.0, 2.0) - 3.0) / 2.0;
        sum += number;
        squares += number * number;
        fourths += number * number * number * number;
        beyondTwo += std::abs(number) > 2.0 ? 1 : 0;
    }
    EXPECT_NEAR(sum / kCount, 0.0, 0.01);
    EXPECT_NEAR(squares / kCount, 1.0, 0.01);
    EXPECT_NEAR(fourths / kCount, 3.0, 0.1);
    EXPECT_NEAR(beyondTwo / static_cast<double>(kCount), 0.0455, 0.002);
}

struct IntegerCase {
    const char* name;
    std::int64_t minimum;
    std::int64_t maximum;
};

class RandomIntegers : public testing::TestWithParam<IntegerCase> {};

TEST_P(RandomIntegers, FillTheirRangeAndStayInside) {
    const auto [name, minimum, maximum] = GetParam();
    RandomStream stream;
    std::int64_t lowest = std::numeric_limits<std::int64_t>::max();
    std::int64_t highest = std::numeric_limits<std::int64_t>::min();
    double sum = 0.0;
    for (int i = 0; i < kCount; ++i) {
        const auto number = stream.getInteger(minimum, maximum);
        lowest = std::min(lowest, number);
        highest = std::max(highest, number);
        sum += static_cast<double>(number) / kCount;
    }
    const double width = static_cast<double>(maximum) - static_cast<double>(minimum);
    EXPECT_GE(lowest, minimum);
    EXPECT_LE(highest, maximum);
    EXPECT_NEAR(static_cast<double>(lowest), static_cast<double>(minimum), 0.001 * width);
    EXPECT_NEAR(static_cast<double>(highest), static_cast<double>(maximum), 0.001 * width);
    EXPECT_NEAR(sum, static_cast<double>(minimum) + 0.5 * width, 0.005 * width + 1e-6);
}

constexpr auto kLowest = std::numeric_limits<std::int64_t>::min();
constexpr auto kHighest = std::numeric_limits<std::int64_t>::max();

INSTANTIATE_TEST_SUITE_P(RandomStream, RandomIntegers,
                         testing::Values(IntegerCase{"Dice", 1, 6}, IntegerCase{"One", 4, 4},
                                         IntegerCase{"Negative", -3, -1},
                                         IntegerCase{"ThreeQuartersOfAll", kLowest, kHighest / 2},
                                         IntegerCase{"All", kLowest, kHighest}),
                         test_support::caseName);

TEST(RandomStream, AnswersEmptyRangesAndCertainChances) {
    RandomStream stream;
    EXPECT_EQ(stream.getInteger(5, 2), 5);
    EXPECT_EQ(stream.getUniform(5.0, 2.0), 5.0);
    EXPECT_FALSE(stream.getBoolean(0.0));
    EXPECT_TRUE(stream.getBoolean(1.0));
    EXPECT_EQ(stream.getPosition(), 4U);
}

}  // namespace random_stream_test
