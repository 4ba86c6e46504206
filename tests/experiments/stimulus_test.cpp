#include "kr/experiments/stimulus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kr/persistence/states/simulation_snapshot.h"
#include "tests/experiments/world.h"

using experiments_test::World;
using KrExperiments::ePlayEnd;
using KrExperiments::ePlayMode;
using KrExperiments::Stimulus;
using KrExperiments::StimulusOptions;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// Ten frames a second, with a stimulus.
struct Play : World {
    explicit Play(const std::string& text, const StimulusOptions& options = {}) {
        application.setSimulationFrameRate(10.0);
        const auto table = Kr::CsvTable::parse(text);
        EXPECT_TRUE(table) << table.toString();
        stimulus = Stimulus::make(application, *table, "play.csv", options, problem);
        if (stimulus) application.registerListener(stimulus.get());
    }
    Play(const Play&) = delete;
    Play& operator=(const Play&) = delete;
    ~Play() {
        if (stimulus) application.unregisterListener(stimulus.get());
    }

    /// The force on the first car in the next frames.
    std::vector<double> run(int frames) {
        std::vector<double> forces;
        for (int i = 0; i < frames; ++i) {
            forces.push_back(std::round(1e6 * first->force.get()) / 1e6);
            test.step();
        }
        return forces;
    }

    std::string problem;
    std::unique_ptr<Stimulus> stimulus;
};

constexpr const char* kForces = "Time,First.Force [kN]\n0.1,1\n0.3,3\n0.5,0\n";

struct Played {
    const char* name;
    StimulusOptions options;
    std::vector<double> forces;
};
class Stimuli : public testing::TestWithParam<Played> {};
TEST_P(Stimuli, SetTheValueAtTheBeginningOfEachFrame) {
    Play play(kForces, GetParam().options);
    EXPECT_EQ(play.problem, "");
    EXPECT_EQ(play.run(static_cast<int>(GetParam().forces.size())), GetParam().forces);
}
INSTANTIATE_TEST_SUITE_P(Modes, Stimuli,
                         testing::Values(Played{"Linear", {}, {0, 1000, 2000, 3000, 1500, 0, 0, 0}},
                                         Played{"Steps", {.mode = ePlayMode::kStep}, {0, 1000, 1000, 3000, 3000, 0, 0}},
                                         Played{"Repeated",
                                                {.end = ePlayEnd::kRepeat},
                                                {0, 1000, 2000, 3000, 1500, 1000, 2000, 3000, 1500, 1000}}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(StimuliThatStop, EndTheRunWithTheFrameThatHasTheLastRow) {
    Play play(kForces, {.end = ePlayEnd::kStop});
    play.application.run({.frames = 100});
    EXPECT_TRUE(play.stimulus->hasEnded());
    EXPECT_EQ(play.application.getFrameStatistics().frames, 6U);
}

TEST(StimuliOfOtherTypes, StepFromRowToRow) {
    Play play("Time,First.Broken,First.Gear,First.Seats,First.Place.Y [km]\n0,true,Park,2,1\n0.2,false,Drive,3,2\n");
    EXPECT_EQ(play.problem, "");
    play.test.step(1);
    EXPECT_TRUE(play.first->isBroken.get());
    EXPECT_EQ(play.first->gear.get().toString(), "Park");
    EXPECT_EQ(play.first->seats.get(), 2);
    EXPECT_EQ(play.first->place.get().y, 1500.0);
    play.test.step(1);
    EXPECT_FALSE(play.first->isBroken.get());
    EXPECT_EQ(play.first->gear.get().toString(), "Drive");
    EXPECT_EQ(play.first->seats.get(), 3);
    EXPECT_EQ(play.first->place.get().y, 2000.0);
}

TEST(StimuliWithEmptyCells, LeaveTheValue) {
    Play play("Time,First.Force\n0,5\n0.1,\n0.3,7\n");
    EXPECT_THAT(play.run(4), ElementsAre(5, 5, 5, 7));
}

TEST(StimuliAndStates, ARewindPlaysTheSameAgain) {
    Play play(kForces);
    play.test.step(2);
    const auto snapshot = KrPersistence::SimulationSnapshot::take(play.application);
    const auto forces = play.run(4);
    ASSERT_TRUE(snapshot->restore(play.application).isRestored);
    EXPECT_EQ(play.run(4), forces);
}

struct RefusedPlay {
    const char* name;
    const char* text;
    const char* problem;
};
class RefusedStimuli : public testing::TestWithParam<RefusedPlay> {};
TEST_P(RefusedStimuli, NameThePlaceAndTheCure) {
    const Play play(GetParam().text);
    EXPECT_EQ(play.stimulus, nullptr);
    EXPECT_THAT(play.problem, HasSubstr(GetParam().problem));
}
INSTANTIATE_TEST_SUITE_P(
    Reasons, RefusedStimuli,
    testing::Values(
        RefusedPlay{"NoTime", "First.Force\n1\n", "play.csv, line 1: there is no column 'Time'"},
        RefusedPlay{"NoUnitOfTime", "Time [kg],First.Force\n1,1\n", "'kg' is no unit of time"},
        RefusedPlay{"NoRow", "Time,First.Force\n", "no row follows"},
        RefusedPlay{"NoOtherColumn", "Time\n1\n", "there is no column beside 'Time'"},
        RefusedPlay{"Descending", "Time,First.Force\n1,1\n1,2\n", "play.csv, line 3, column 1: times must ascend"},
        RefusedPlay{"EmptyTime", "Time,First.Force\n,1\n", "line 2, column 1: '' is no time"},
        RefusedPlay{"UnknownField", "Time,First.Farce\n0,1\n",
                    "column 2: there is no field 'First.Farce'; did you mean"},
        RefusedPlay{"WrongUnit", "Time,First.Force [km]\n0,1\n", "column 2: 'km' is no unit of 'First.Inputs.Force'"},
        RefusedPlay{"Output", "Time,First.Speed\n0,1\n", "'First.Speed' is an output"},
        RefusedPlay{"Connected", "Time,Second.Wind\n0,1\n", "a connection sets 'Second.Wind' in each frame"},
        RefusedPlay{"TextForANumber", "Time,First.Force\n0,much\n", "takes numbers, and the column has texts"},
        RefusedPlay{"UnknownText", "Time,First.Gear\n0,Park\n1,Perk\n",
                    "line 3, column 2: 'Perk' is none of its values"},
        RefusedPlay{"NotFinite", "Time,First.Force\n0,inf\n", "line 2, column 2: 'inf' is not finite"}),
    [](const auto& each) { return std::string(each.param.name); });

}  // namespace
