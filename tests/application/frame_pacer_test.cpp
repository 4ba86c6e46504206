#include "kr/application/frame_pacer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "kr/application/frame_meter.h"
#include "tests/support/case_name.h"
#include "tests/support/scripted_clock.h"

namespace frame_pacer_test {

using test_support::ScriptedClock;

constexpr double kStep = 1.0 / 60.0;
constexpr double kTick = 4e-6;  // what asking the clock costs

/// One frame after 5 ms of work or as given, with a resolution of 1 ms.
struct PaceCase {
    const char* name;
    double workSeconds, lateness;                          // of the sleep
    double slept, wait, overwork, oversleep, nextFrameIn;  // expected
};
class Pace : public testing::TestWithParam<PaceCase> {};

TEST_P(Pace, SleepsUntilOneResolutionBeforeTheFrameIsDueAndSpins) {
    const auto& [name, work, lateness, slept, wait, overwork, oversleep, nextFrameIn] = GetParam();
    ScriptedClock clock(1e-3, {lateness});
    KrSim::FramePacer pacer(clock);
    const auto first = pacer.beginPaced(kStep);
    EXPECT_EQ(first.wait + first.overwork + first.oversleep + clock.sleptSeconds, 0.0);
    clock.work(work);
    const auto second = pacer.beginPaced(kStep);
    EXPECT_NEAR(clock.sleptSeconds, slept, kTick);
    EXPECT_NEAR(second.wait, wait, kTick);
    EXPECT_NEAR(second.overwork, overwork, kTick);
    EXPECT_NEAR(second.oversleep, oversleep, kTick);
    EXPECT_NEAR(second.time - first.time, nextFrameIn, kTick);
}

const PaceCase kPaces[] = {
    {"FiveMilliseconds", 5e-3, 0.5e-3, kStep - 6e-3, kStep - 5e-3, 0, 0, kStep},
    {"TooLittleLeftToSleep", kStep - 0.9e-3, 0, 0, 0.9e-3, 0, 0, kStep},
    {"WorkedTooLong", 0.05, 0, 0, 0, 0.05 - kStep, 0, 0.05},
    {"SleptTooLong", 5e-3, 4e-3, kStep - 6e-3, kStep - 5e-3, 0, 3e-3, kStep + 3e-3},
};
INSTANTIATE_TEST_SUITE_P(At60Hz, Pace, testing::ValuesIn(kPaces), test_support::caseName);

TEST(FramePacer, WaitsForAClockThatOnlySleepingMoves) {
    struct : Kr::IClock {
        [[nodiscard]] double getSeconds() const override { return now; }
        void sleep(double seconds) override { now += seconds; }
        [[nodiscard]] double getResolution() const override { return 1e-3; }
        double now{1000.0};
    } clock;
    KrSim::FramePacer pacer(clock);
    for (int frame = 0; frame < 4; ++frame)
        EXPECT_NEAR(pacer.beginPaced(kStep).time, 1000.0 + frame * kStep, kTick);
}

TEST(FramePacer, EndsALongWaitWhenItIsAsked) {
    struct EndingClock : ScriptedClock {
        using ScriptedClock::ScriptedClock;
        void sleepUntil(double seconds) override {
            ScriptedClock::sleepUntil(seconds);
            if (sleeps == 3) ends = true;
        }
        std::atomic<bool> ends{false};
    } clock(1e-3);
    KrSim::FramePacer pacer(clock, &clock.ends);
    const auto first = pacer.beginPaced(10.0);
    EXPECT_NEAR(pacer.beginPaced(10.0).time - first.time, 0.06, 20 * kTick);
    EXPECT_EQ(clock.sleeps, 3U);
}

struct LearnCase {
    const char* name;
    std::vector<double> lateness;
    double resolution;
};
class LearnedResolution : public testing::TestWithParam<LearnCase> {};

TEST_P(LearnedResolution, FollowsTheSleepsOfTheLoopWithinBounds) {
    ScriptedClock clock(0.7e-3, GetParam().lateness);
    KrSim::FramePacer pacer(clock);
    EXPECT_EQ(pacer.getResolution(), 0.7e-3);
    for (int i = 0; i < 33; ++i)
        pacer.beginPaced(kStep);
    EXPECT_NEAR(pacer.getResolution(), GetParam().resolution, 2 * kTick);
}

const LearnCase kSleeps[] = {
    {"Short", {1e-6}, 200e-6},
    {"Median", {0, 0.3e-3, 9}, 0.6e-3},
    {"Long", {5e-3}, 1e-3},
};
INSTANTIATE_TEST_SUITE_P(Sleeps, LearnedResolution, testing::ValuesIn(kSleeps), test_support::caseName);

TEST(FrameMeter, SplitsLateFramesAndLeavesPausesOut) {
    KrSim::FrameMeter meter;
    double now = 50.0;
    const auto frame = [&](double after, double wait, double overwork = 0.0, double oversleep = 0.0) {
        meter.onFrame({now += after, wait, overwork, oversleep}, 0.1, true);
        meter.onFrameEnded();
    };
    frame(0, 0);  // the first one waits for nothing
    frame(0.1, 0.06);
    EXPECT_NEAR(meter.getStatistics().realTimeFactor, 1.0, 1e-9);
    frame(0.4, 0.0, 0.3);
    frame(0.2, 0.09, 0.0, 0.1);
    frame(0.1005, 0.08, 0.0, 0.0005);  // nobody calls this late
    frame(0.2, 0.0, 0.1);
    meter.onPausedFrame({now += 0.1});
    meter.onPausedFrame({now += 1000.0});
    frame(0.1, 0.07);
    const auto all = meter.getStatistics();
    EXPECT_EQ(all.frames, 7U);
    EXPECT_DOUBLE_EQ(all.simulatedSeconds, 0.7);
    EXPECT_NEAR(all.realTimeFactor, 1.0, 1e-9);
    EXPECT_NEAR(all.meanRealTimeFactor, 0.6 / 1.1005, 1e-9);
    EXPECT_EQ(all.shortestWaitSeconds, 0.0);
    EXPECT_EQ(all.longestWaitSeconds, 0.09);
    EXPECT_EQ(all.overworked.count, 2U);
    EXPECT_EQ(all.overworked.worstSeconds, 0.3);
    EXPECT_DOUBLE_EQ(all.overworked.totalSeconds, 0.4);
    EXPECT_EQ(all.overslept.count, 1U);
    EXPECT_EQ(all.overslept.totalSeconds, 0.1);
    EXPECT_EQ(all.getLateFrames(), 3U);
    EXPECT_EQ(all.getWorstOverrunSeconds(), 0.3);
}

}  // namespace frame_pacer_test
