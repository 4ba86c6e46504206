#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <span>

#include "cycle_table.h"

namespace cycle_table_test {

using enum CyclePhase;
using testing::Pair;
using testing::UnorderedElementsAre;

/// The seconds of each phase; -1 where an operation is not what its phase says.
std::map<CyclePhase, double> sumPhases(std::span<const CycleOperation> part) {
    std::map<CyclePhase, double> seconds;
    CycleOperation before{0, kIdling, 0.0, 0.0};
    for (const auto& each : part) {
        const double change = each.endKilometresPerHour - before.endKilometresPerHour;
        const bool fits = each.phase == kAccelerating                                ? change > 0.0
                          : each.phase == kDecelerating || each.phase == kDeclutched ? change < 0.0
                                                                                     : change == 0.0;
        const bool isNext = each.number == before.number + 1 && each.endSeconds > before.endSeconds;
        seconds[each.phase] += fits && isNext ? each.endSeconds - before.endSeconds : -1e6;
        before = each;
    }
    return seconds;
}

TEST(CycleTable, HasThePhasesThatTheRegulationSumsUp) {
    EXPECT_THAT(sumPhases(getUrbanCycle()),
                UnorderedElementsAre(Pair(kIdling, 60.0), Pair(kDeclutched, 9.0), Pair(kChangingGear, 8.0),
                                     Pair(kAccelerating, 36.0), Pair(kSteady, 57.0), Pair(kDecelerating, 25.0)));
    EXPECT_THAT(sumPhases(getExtraUrbanCycle()),
                UnorderedElementsAre(Pair(kIdling, 40.0), Pair(kDeclutched, 10.0), Pair(kChangingGear, 6.0),
                                     Pair(kAccelerating, 103.0), Pair(kSteady, 209.0), Pair(kDecelerating, 32.0)));
}

TEST(CycleTable, IsTheWholeCycleWithItsPublishedFigures) {
    const auto& table = getEuropeanCycle();
    EXPECT_EQ(table.size(), 1U + 4U * 25U + 21U);
    EXPECT_TRUE(std::is_sorted(table.begin(), table.end(),
                               [](const auto& left, const auto& right) { return left.seconds <= right.seconds; }));
    const auto isSlower = [](const auto& left, const auto& right) {
        return left.kilometresPerHour < right.kilometresPerHour;
    };
    EXPECT_EQ(std::max_element(table.begin(), table.end(), isSlower)->kilometresPerHour, 120.0);
    EXPECT_EQ(std::min_element(table.begin(), table.end(), isSlower)->kilometresPerHour, 0.0);
    EXPECT_EQ(table.front().seconds, 0.0);
    EXPECT_EQ(table.front().kilometresPerHour, 0.0);
    EXPECT_EQ(table.back().seconds, 1180.0);
    EXPECT_EQ(table.back().kilometresPerHour, 0.0);
    EXPECT_GT(getDistanceOf(table), 11'000.0);
    EXPECT_LT(getDistanceOf(table), 11'030.0);
}

TEST(CycleTable, IsLinearBetweenBreakpointsAndConstantOutside) {
    const Breakpoint table[] = {{10.0, 36.0}, {20.0, 72.0}, {30.0, 0.0}};
    const std::pair<double, double> cases[] = {{-1.0, 10.0}, {10.0, 10.0}, {15.0, 15.0}, {20.0, 20.0},
                                               {27.5, 5.0},  {30.0, 0.0},  {1e9, 0.0}};
    for (const auto& [seconds, speed] : cases)
        EXPECT_DOUBLE_EQ(getSpeedAt(table, seconds), speed) << seconds;
    EXPECT_EQ(getSpeedAt({}, 1.0), 0.0);
    EXPECT_DOUBLE_EQ(getDistanceOf(table), 150.0 + 100.0);
}

}  // namespace cycle_table_test
