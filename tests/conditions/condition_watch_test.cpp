#include "kr/conditions/condition_watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "benchmarks/allocation_counter.h"
#include "kr/testing/log_capture.h"
#include "tests/experiments/world.h"

namespace condition_watch_test {

using experiments_test::World;
using KrConditions::ConditionWatch;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// The first car gains 1 m/s in each frame: 1 m/s after the first one.
struct WatchedWorld {
    WatchedWorld() {
        world.first->mass = 1.0;
        world.test.getField("First.Inputs.Force").set(60.0);
        world.application.registerListener(&watch);
    }
    ~WatchedWorld() { world.application.unregisterListener(&watch); }

    void check(const std::string& text) { EXPECT_EQ(watch.addCheck(text), ""); }
    void stop(const std::string& text) { EXPECT_EQ(watch.addStop(text), ""); }

    World world;
    ConditionWatch watch{world.application};
};

TEST(Checks, CountFramesThatFailWithTheFirstAndTheLast) {
    WatchedWorld each;
    each.check("First.Speed < 3 m/s or First.Speed > 5.5");
    each.world.test.step(8);
    const auto results = each.watch.getChecks();
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].failures, 3U);
    EXPECT_EQ(results[0].first.frame, 3U);
    EXPECT_DOUBLE_EQ(results[0].first.seconds, 3.0 / 60.0);
    EXPECT_EQ(results[0].first.values, "First.Outputs.Speed = 3 m/s");
    EXPECT_EQ(results[0].last.frame, 5U);
    EXPECT_EQ(results[0].last.values, "First.Outputs.Speed = 5 m/s");
    EXPECT_EQ(results[0].reason, "");
    EXPECT_TRUE(each.watch.hasFailures());
}

TEST(Checks, ThatHoldHaveNoFailure) {
    WatchedWorld each;
    each.check("First.Speed < 30 km/h");
    each.check("First.Speed > 0 for 1 s");  // not decided
    each.world.test.step(8);
    EXPECT_FALSE(each.watch.hasFailures());
    EXPECT_EQ(each.watch.getChecks()[1].failures, 0U);
}

TEST(Checks, PausedFramesDoNotCount) {
    WatchedWorld each;
    each.check("false");
    each.world.test.step(2);
    each.world.application.pause();
    each.world.test.step(3);
    EXPECT_EQ(each.watch.getChecks()[0].failures, 2U);
}

TEST(Checks, ARemovedFieldFailsOnceAndIsLoggedOnce) {
    const KrTesting::LogCapture log;
    WatchedWorld each;
    each.check("Second.Mass > 0");
    each.world.test.step(2);
    each.world.application.remove(each.world.second->_getProxy());
    each.world.test.step(3);
    const auto result = each.watch.getChecks()[0];
    EXPECT_EQ(result.failures, 1U);
    EXPECT_EQ(result.first.frame, 3U);
    EXPECT_EQ(result.reason, "'Second.Parameters.Mass' was removed");
    EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn),
                ElementsAre(HasSubstr("'Second.Parameters.Mass' was removed; the check counts as failed")));
}

TEST(Checks, ANaNFailsInEachFrameAndIsLoggedOnce) {
    const KrTesting::LogCapture log;
    WatchedWorld each;
    each.check("First.Speed > -1");
    each.world.first->speed = std::numeric_limits<double>::quiet_NaN();
    each.world.test.step(3);
    EXPECT_EQ(each.watch.getChecks()[0].failures, 3U);
    EXPECT_EQ(each.watch.getChecks()[0].reason, "not a number: First.Outputs.Speed = nan m/s");
    EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn), ElementsAre(HasSubstr("'First.Speed > -1' cannot be evaluated")));
}

TEST(Checks, TheFirstFailureEndsTheRunOnRequest) {
    WatchedWorld each;
    each.check("First.Speed < 3");
    each.watch.setStopsOnFailure(true);
    each.world.test.step(8);
    EXPECT_TRUE(each.watch.isStoppedByFailure());
    EXPECT_EQ(each.watch.getChecks()[0].last.frame, 3U);
    EXPECT_EQ(each.watch.getStop(), "");
}

TEST(Stops, EndTheRunAfterTheFrameInWhichTheyHold) {
    WatchedWorld each;
    each.stop("First.Speed > 100");
    each.stop("First.Speed >= 3");
    EXPECT_FALSE(each.world.test.step(8));
    EXPECT_EQ(each.watch.getStop(), "First.Speed >= 3");
    EXPECT_EQ(each.world.first->speed.get(), 3.0);
}

TEST(Stops, ANaNEndsNoRunAndIsLogged) {
    const KrTesting::LogCapture log;
    WatchedWorld each;
    each.stop("not First.Speed > 3");
    each.world.first->speed = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(each.world.test.step(2));
    EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn), ElementsAre(HasSubstr("it ends no run")));
}

TEST(ConditionWatches, AddNothingWithAProblem) {
    WatchedWorld each;
    EXPECT_EQ(each.watch.addCheck("First.Speed >"), "'First.Speed >', column 14: an operand is missing at the end");
    EXPECT_NE(each.watch.addStop("Speed > 3"), "");
    EXPECT_THAT(each.watch.getChecks(), IsEmpty());
}

TEST(ConditionWatches, AllocateNothingInAFrameEvenWithFailures) {
    WatchedWorld each;
    each.check("First.Speed < 0 and First.Gear == 'Park'");
    each.stop("First.Speed > 1000 for 1 s");
    each.world.test.step(2);
    const auto before = kr_benchmark::allocations();
    each.watch.onFrameEnded(&each.world.application);  // the frame is known
    EXPECT_EQ(kr_benchmark::allocations(), before);
    each.world.test.step(1);
    const auto perFrame = kr_benchmark::allocations() - before;
    each.world.application.unregisterListener(&each.watch);
    const auto without = kr_benchmark::allocations();
    each.world.test.step(1);
    EXPECT_EQ(perFrame, kr_benchmark::allocations() - without);
    each.world.application.registerListener(&each.watch);
}

}  // namespace condition_watch_test
