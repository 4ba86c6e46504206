#include "kr/application/modules/step_rate.h"

#include <gmock/gmock.h>

#include <cmath>
#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/modules/module_of.h"
#include "kr/extension/typed_field.h"
#include "kr/testing/test_application.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"

namespace step_rate_test {

using KrSim::StepRate;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct DividesCase {
    const char* name;
    double hz;
    double frameRateHz;
    const char* explanation;  // null: it divides
};

class Divides : public testing::TestWithParam<DividesCase> {};

TEST_P(Divides, OrNamesTheNearestRatesThatDo) {
    const auto& [name, hz, frameRateHz, explanation] = GetParam();
    const auto rate = StepRate::hertz(hz);
    EXPECT_EQ(rate.divides(frameRateHz), explanation == nullptr);
    EXPECT_THAT(rate.explain(frameRateHz), HasSubstr(explanation != nullptr ? explanation : ""));
}

INSTANTIATE_TEST_SUITE_P(StepRate, Divides,
                         testing::Values(DividesCase{"Same", 60.0, 60.0, nullptr},
                                         DividesCase{"Thousandfold", 60000.0, 60.0, nullptr},
                                         DividesCase{"Third", 20.0, 60.0, nullptr},
                                         DividesCase{"Television", 59.94 * 4, 59.94, nullptr},
                                         DividesCase{"Faster", 100.0, 60.0, "are 60 Hz and 120 Hz"},
                                         DividesCase{"Slower", 25.0, 60.0, "are 20 Hz and 30 Hz"}),
                         test_support::caseName);

class Unit final : public KrSim::IExtension {
public:
    explicit Unit(KrSim::KrExtension* proxy) : IExtension(proxy, 1) {}
    KrSim::Parameter<int> group{this, "Group"};
    KrSim::Output<double> simulated{this, "Simulated"};
};

class Units final : public KrSim::ModuleOf<Unit> {
public:
    static inline StepRate rate;
    static inline StepRate second;

    explicit Units(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, 1) {
        setStepRate(rate);
        addRateParameter("RateHz");
        addStepGroup("Second", second);
    }
    using ModuleOf::setStepRate;

    [[nodiscard]] std::size_t findStepGroup(const Unit& unit) const override {
        return static_cast<std::size_t>(unit.group.get());
    }
    void onStep(Unit& unit, double seconds) override {
        const auto context = getApplicationContext();
        EXPECT_EQ(context.getStepSeconds(), seconds);
        steps.push_back(unit.getName() + " " + std::to_string(std::lround(1000.0 * context.getSimulatedSeconds())) +
                        "+" + std::to_string(std::lround(1000.0 * seconds)));
        unit.simulated = unit.simulated + seconds;
    }

    std::vector<std::string> steps;  // name, milliseconds of the beginning and of the length
};

/// At 10 Hz: frames of 100 ms.
struct World {
    explicit World(const StepRate& rate, const StepRate& second = {})
        : module((Units::rate = rate, Units::second = second, test.make<Units>("Units"))) {}
    Unit& add(const char* name, int group = 0) {
        auto& unit = test.make<Unit>(name);
        unit.group = group;
        return unit;
    }
    /// The steps of the next frame.
    std::vector<std::string> frame() {
        module.steps.clear();
        test.step();
        return module.steps;
    }
    void setFrameRate(double rateHz) { test.getApplication().setSimulationFrameRate(rateHz); }

    const test_support::LogCapture log;
    KrTesting::TestApplication test{10.0};
    Units& module;
};

struct ScheduleCase {
    const char* name;
    StepRate rate;
    std::vector<std::vector<std::string>> frames;
};

class Schedule : public testing::TestWithParam<ScheduleCase> {};

TEST_P(Schedule, StepsAtItsRate) {
    World world(GetParam().rate);
    world.add("A");
    for (const auto& frame : GetParam().frames)
        EXPECT_EQ(world.frame(), frame);
    EXPECT_THAT(world.log.lines(Kr::eLogLevel::kWarn), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    StepRate, Schedule,
    testing::Values(
        ScheduleCase{"EveryFrame", {}, {{"A 0+100"}, {"A 100+100"}}},
        ScheduleCase{"TwoSubSteps", StepRate::perFrame(2), {{"A 0+50", "A 50+50"}, {"A 100+50", "A 150+50"}}},
        ScheduleCase{"EveryThirdFrame", StepRate::everyFrames(3), {{"A 0+300"}, {}, {}, {"A 300+300"}}},
        ScheduleCase{
            "EveryThirdFrameFromTheSecondOn", StepRate::everyFrames(3, 1), {{}, {"A 100+300"}, {}, {}, {"A 400+300"}}},
        ScheduleCase{"FasterInHertz", StepRate::hertz(20.0), {{"A 0+50", "A 50+50"}, {"A 100+50", "A 150+50"}}},
        ScheduleCase{"SlowerInHertz", StepRate::hertz(5.0), {{"A 0+200"}, {}, {"A 200+200"}, {}}},
        ScheduleCase{"CarriedFaster",
                     StepRate::hertz(16.0, StepRate::eRest::kCarried),
                     {{"A 0+63", "A 63+63"}, {"A 125+63", "A 188+63"}, {"A 250+63"}, {"A 313+63", "A 375+63"}}},
        ScheduleCase{"CarriedSlower",
                     StepRate::hertz(8.0, StepRate::eRest::kCarried),
                     {{"A 0+125"}, {"A 125+125"}, {"A 250+125"}, {"A 375+125"}, {}, {"A 500+125"}}}),
    test_support::caseName);

TEST(StepGroups, MakeAllTheirStepsOneAfterTheOther) {
    World world(StepRate::perFrame(2), StepRate::perFrame(1));
    world.add("Slow", 1);
    world.add("Fast");
    EXPECT_THAT(world.frame(), ElementsAre("Fast 0+50", "Fast 50+50", "Slow 0+100"));
    EXPECT_EQ(world.test.getApplication().getContext().getSimulatedSeconds(), 0.0);
}

TEST(StepGroups, RefuseARateThatDoesNotDivideTheFrameRate) {
    World world(StepRate::hertz(16.0));
    world.add("A");
    EXPECT_THAT(world.frame(), IsEmpty());
    EXPECT_THAT(
        world.log.lines(Kr::eLogLevel::kWarn),
        Contains(HasSubstr("'Units' does not step its units: 16 Hz does not divide the frame rate of 10 Hz; the "
                           "nearest rates that do are 10 Hz and 20 Hz")));
    EXPECT_FALSE(world.module.setStepRate(StepRate::hertz(17.0)));
    EXPECT_FALSE(world.module.setStepRate(StepRate::hertz(-1.0)));
    EXPECT_TRUE(world.module.setStepRate(StepRate::hertz(20.0)));
    EXPECT_THAT(world.frame(), ElementsAre("A 100+50", "A 150+50"));
}

TEST(StepGroups, TakeTheRateThatContentChooses) {
    World world(StepRate::perFrame(1));
    world.add("A");
    auto& choice = world.test.getField("Units.Parameters.RateHz");
    choice.set(20.0);
    EXPECT_THAT(world.frame(), ElementsAre("A 0+50", "A 50+50"));
    choice.set(16.0);
    EXPECT_THAT(world.frame(), ElementsAre("A 100+50", "A 150+50"));
    EXPECT_THAT(world.log.lines(Kr::eLogLevel::kWarn), Contains(HasSubstr("'Units' keeps its rate of steps: 16 Hz")));
    choice.set(0.0);
    EXPECT_THAT(world.frame(), ElementsAre("A 200+100"));
    choice.set(std::nan(""));
    EXPECT_THAT(world.frame(), ElementsAre("A 300+100"));
    EXPECT_THAT(world.frame(), ElementsAre("A 400+100"));
    EXPECT_THAT(world.log.lines(Kr::eLogLevel::kWarn),
                Contains(HasSubstr("'Units' keeps its rate of steps: a rate must be a number above 0 Hz")).Times(1));
}

struct RateChangeCase {
    const char* name;
    StepRate rate;
};

class RateChange : public testing::TestWithParam<RateChangeCase> {};

TEST_P(RateChange, NeitherLosesNorRepeatsTime) {
    World world(GetParam().rate);
    auto& unit = world.add("A");
    for (const double rateHz : {10.0, 7.0, 30.0, 12.5, 10.0}) {
        world.setFrameRate(rateHz);
        world.test.step(7);
        const double end = world.test.getApplication().getContext().getSimulatedSeconds() + 1.0 / rateHz;
        EXPECT_GE(unit.simulated + 1e-9, end) << rateHz;  // up to one step ahead
        EXPECT_LT(unit.simulated - end, 0.45) << rateHz;
    }
}

INSTANTIATE_TEST_SUITE_P(
    StepGroups, RateChange,
    testing::Values(RateChangeCase{"EveryFrame", {}}, RateChangeCase{"SubSteps", StepRate::perFrame(3)},
                    RateChangeCase{"EveryThirdFrame", StepRate::everyFrames(3)},
                    RateChangeCase{"Hertz", StepRate::hertz(20.0)}, RateChangeCase{"SlowHertz", StepRate::hertz(5.0)},
                    RateChangeCase{"CarriedHertz", StepRate::hertz(16.0, StepRate::eRest::kCarried)}),
    test_support::caseName);

TEST_P(RateChange, IsRepeatedFromASnapshot) {
    World world(GetParam().rate);
    auto& unit = world.add("A");
    world.test.step(4);
    world.setFrameRate(7.0);
    world.test.step(1);
    EXPECT_EQ(world.test.explainReplay(1, 20), "");
    EXPECT_GT(unit.simulated, 1.0);
}

}  // namespace step_rate_test
