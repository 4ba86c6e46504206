#include "kr/experiments/sweep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "kr/experiments/run_statistics.h"
#include "kr/platform/text.h"
#include "tests/experiments/world.h"

using KrExperiments::eSampling;
using KrExperiments::SweepPlan;
using KrExperiments::Variation;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

Variation vary(const std::string& text) {
    Variation variation;
    EXPECT_EQ(KrExperiments::parseVariation(text, variation), "") << text;
    return variation;
}

struct Values {
    const char* name;
    const char* text;
    std::vector<std::string> values;
};
class Variations : public testing::TestWithParam<Values> {};
TEST_P(Variations, HaveTheseValues) {
    const auto variation = vary(GetParam().text);
    EXPECT_EQ(variation.pattern, "Car/Mass");
    EXPECT_EQ(variation.values, GetParam().values);
}
INSTANTIATE_TEST_SUITE_P(
    Forms, Variations,
    testing::Values(Values{"Steps", "Car/Mass=1:2:0.5", {"1", "1.5", "2"}},
                    Values{"OtherUnitOfTheStep", "Car/Mass=1 t:1.3 t:100 kg", {"1 t", "1.1 t", "1.2 t", "1.3 t"}},
                    Values{"EndBetweenSteps", "Car/Mass=0 m:1 m:30 cm", {"0 m", "0.3 m", "0.6 m", "0.9 m"}},
                    Values{"Downwards", "Car/Mass=2:1:-0.5", {"2", "1.5", "1"}},
                    Values{"StepOfATemperature", "Car/Mass=20 °C:30 °C:5 °C", {"20 °C", "25 °C", "30 °C"}},
                    Values{"List", "Car/Mass=Park, Drive", {"Park", "Drive"}}, Values{"One", "Car/Mass=2 t", {"2 t"}}),
    [](const auto& each) { return std::string(each.param.name); });

struct RefusedText {
    const char* name;
    const char* text;
    const char* problem;
};
class RefusedVariations : public testing::TestWithParam<RefusedText> {};
TEST_P(RefusedVariations, NameTheReason) {
    Variation variation;
    EXPECT_THAT(KrExperiments::parseVariation(GetParam().text, variation), HasSubstr(GetParam().problem));
}
INSTANTIATE_TEST_SUITE_P(
    Reasons, RefusedVariations,
    testing::Values(RefusedText{"NoSign", "Mass", "is not of the form"},
                    RefusedText{"FourParts", "Mass=1:2:3:4", "has more than FROM:TO:STEP"},
                    RefusedText{"NoNumber", "Mass=a:b:c", "'a' is no number"},
                    RefusedText{"OtherDimension", "Mass=1 kg:2 m:1 kg", "'2 m' has another unit than '1 kg'"},
                    RefusedText{"WrongWay", "Mass=1:2:-1", "its steps do not lead from '1' to '2'"},
                    RefusedText{"NoStep", "Mass=1:2:0", "its steps do not lead"},
                    RefusedText{"TooMany", "Mass=0:1:1e-9", "it has too many steps"},
                    RefusedText{"EmptyValue", "Mass=1,,2", "has an empty value"}),
    [](const auto& each) { return std::string(each.param.name); });

std::vector<std::string> valuesOf(const std::vector<KrExperiments::SweepRun>& runs) {
    std::vector<std::string> all;
    for (const auto& run : runs) {
        std::string text;
        for (const auto& each : run.assignments)
            text += (text.empty() ? "" : " ") + each.value;
        all.push_back(text);
    }
    return all;
}

TEST(Grids, CombineAllValuesTheLastChangingFastest) {
    std::string problem;
    const auto runs = KrExperiments::makeRuns({.variations = {vary("A=1,2"), vary("B=x,y,z")}, .seed = 7}, problem);
    EXPECT_EQ(problem, "");
    EXPECT_THAT(valuesOf(runs), ElementsAre("1 x", "1 y", "1 z", "2 x", "2 y", "2 z"));
    EXPECT_EQ(runs.back().number, 6U);
    EXPECT_EQ(runs.back().seed, 7U);
}

TEST(Grids, RefuseARangeWithoutAStepAndTooManyRuns) {
    std::string problem;
    EXPECT_TRUE(KrExperiments::makeRuns({.variations = {vary("A=1:2")}}, problem).empty());
    EXPECT_THAT(problem, HasSubstr("a range without a step"));
    const auto many = vary("A=1:1000:1");
    EXPECT_TRUE(KrExperiments::makeRuns({.variations = {many, many, many}}, problem).empty());
    EXPECT_THAT(problem, HasSubstr("more than a million"));
}

class Samples : public testing::TestWithParam<eSampling> {};
TEST_P(Samples, AreTheSameForASeedAndOthersForAnother) {
    std::string problem;
    const auto make = [&](std::uint32_t seed) {
        return valuesOf(KrExperiments::makeRuns(
            {.variations = {vary("A=1:2"), vary("B=x,y")}, .sampling = GetParam(), .runs = 20, .seed = seed}, problem));
    };
    EXPECT_EQ(make(1), make(1));
    EXPECT_NE(make(1), make(2));
}
INSTANTIATE_TEST_SUITE_P(Kinds, Samples, testing::Values(eSampling::kRandom, eSampling::kLatin));

TEST(LatinHypercubes, HaveOneNumberInEachPartOfARange) {
    constexpr int kRuns = 50;
    std::string problem;
    const auto runs = KrExperiments::makeRuns(
        {.variations = {vary("A=0:50"), vary("B=0:50")}, .sampling = eSampling::kLatin, .runs = kRuns}, problem);
    for (const std::size_t variation : {0U, 1U}) {
        std::vector<int> parts;
        for (const auto& each : runs)
            parts.push_back(static_cast<int>(*Kr::parseNumber<double>(each.assignments[variation].value)));
        std::sort(parts.begin(), parts.end());
        for (int i = 0; i < kRuns; ++i)
            EXPECT_EQ(parts[static_cast<std::size_t>(i)], i);
    }
}

TEST(StatisticsOfARun, AreThoseOfTheValuesAtTheEndsOfFrames) {
    experiments_test::World world;
    world.application.setSimulationFrameRate(10.0);
    world.first->force.set(1000.0);
    std::string problem;
    const std::vector<std::string> patterns{"First.Speed"};
    KrExperiments::RunStatistics statistics(world.application, patterns, problem);
    ASSERT_EQ(problem, "");
    world.application.registerListener(&statistics);
    world.test.step(4);  // 0.1, 0.2, 0.3 and 0.4 m/s
    world.application.unregisterListener(&statistics);
    const auto all = statistics.get();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].path, "First.Outputs.Speed");
    EXPECT_EQ(all[0].frames, 4U);
    EXPECT_NEAR(all[0].last, 0.4, 1e-15);
    EXPECT_NEAR(all[0].minimum, 0.1, 1e-15);
    EXPECT_NEAR(all[0].maximum, 0.4, 1e-15);
    EXPECT_NEAR(all[0].mean, 0.25, 1e-15);
    EXPECT_NEAR(all[0].rms, std::sqrt(0.3 / 4.0), 1e-15);
}

TEST(StatisticsOfARun, RefusePatternsWithoutNumbers) {
    const experiments_test::World world;
    std::string problem;
    const std::vector<std::string> patterns{"First.Owner"};
    const KrExperiments::RunStatistics statistics(world.application, patterns, problem);
    EXPECT_EQ(problem, "'First.Owner' means no field with a number");
}

}  // namespace
