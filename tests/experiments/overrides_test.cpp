#include "kr/experiments/overrides.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "kr/experiments/field_search.h"
#include "kr/extension/object.h"
#include "kr/persistence/objects/object_file.h"
#include "kr/persistence/states/simulation_snapshot.h"
#include "kr/testing/log_capture.h"
#include "tests/experiments/world.h"
#include "tests/support/temporary_folder.h"

using experiments_test::Car;
using experiments_test::World;
using KrExperiments::Overrides;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// Ten frames a second; the first car accelerates by 1 m/s2, so that it has a speed of 0.1 m/s after the first frame.
struct Road : World {
    Road() {
        application.setSimulationFrameRate(10.0);
        first->force.set(1000.0);
    }

    std::size_t override(const std::string& text) {
        std::string problem;
        const auto number = Overrides::of(application).add(text, problem);
        EXPECT_EQ(problem, "");
        return number;
    }
    /// The speed of the first car after each frame as others see it, in tenths.
    std::vector<double> see(int frames) {
        std::vector<double> seen;
        for (int i = 0; i < frames; ++i) {
            test.step();
            seen.push_back(std::round(100.0 * first->speed.getField()->getValue()) / 10.0);
        }
        return seen;
    }
};

struct Kind {
    const char* name;
    const char* text;
    std::vector<double> seen;  // in tenths, after each frame
};
class OverrideKinds : public testing::TestWithParam<Kind> {};
TEST_P(OverrideKinds, ChangeWhatOthersSeeOfAnOutput) {
    Road road;
    road.override(std::string("First.Speed=") + GetParam().text);
    EXPECT_EQ(road.see(static_cast<int>(GetParam().seen.size())), GetParam().seen);
    EXPECT_NEAR(road.first->speed.get(), 0.1 * static_cast<double>(GetParam().seen.size()), 1e-12);
}
INSTANTIATE_TEST_SUITE_P(
    All, OverrideKinds,
    testing::Values(Kind{"Force", "force 3.6 km/h", {10, 10, 10}}, Kind{"Bias", "bias 1 m/s", {11, 12, 13}},
                    Kind{"Gain", "gain 200 %", {2, 4, 6}}, Kind{"Freeze", "freeze from 0.2 s", {1, 2, 2, 2}},
                    Kind{"Delay", "delay 0.2 s", {0, 0, 0, 1, 2, 3}}, Kind{"NoNoise", "noise 0 m/s", {1, 2, 3}},
                    Kind{"NeverDropped", "dropout 0", {1, 2, 3}}, Kind{"AlwaysDropped", "dropout 1", {0, 0, 0}},
                    Kind{"FromUntil", "bias 1 m/s from 0.1 s until 0.3 s", {1, 12, 13, 4}},
                    Kind{"FromFor", "force 0 from 0.1 s for 0.1 s", {1, 0, 3}}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(OverridesOfOutputs, ReachConnectionsAndObserversAndNotTheImplementation) {
    Road road;
    std::vector<double> observed;
    const auto observing = road.first->speed.getField()->addObserver(
        [&](const KrData::FieldBase& field) { observed.push_back(std::round(10.0 * field.toReal())); });
    road.override("First.Speed=bias 1 m/s");
    road.test.step(2);
    EXPECT_THAT(observed, ElementsAre(10, 11, 12));  // when it begins, and after each frame
    EXPECT_NEAR(road.second->wind.get(), 1.2, 1e-12);
    EXPECT_NEAR(road.first->speed.get(), 0.2, 1e-12);
}

TEST(OverridesOfOutputs, TellNobodyOfWritesThatChangeNothingSeen) {
    Road road;
    road.override("First.Speed=force 5 m/s");
    road.test.step();
    int calls = 0;
    const auto observing = road.first->speed.getField()->addObserver([&](const KrData::FieldBase&) { ++calls; });
    road.test.step(3);
    EXPECT_EQ(calls, 0);
}

TEST(OverridesOfInputs, ChangeWhatTheImplementationReads) {
    Road road;
    road.override("Second.Wind=bias 1 m/s");
    road.test.step(2);
    EXPECT_NEAR(road.second->wind.get(), 1.2, 1e-12);
    EXPECT_NEAR(road.second->wind.getField()->getOwnValue(), 0.2, 1e-12);
    EXPECT_NEAR(road.first->speed.getField()->getValue(), 0.2, 1e-12);
}

TEST(OverridesOfParameters, StayInTheRange) {
    Road road;
    road.override("First.Mass=gain 1e9");
    road.test.step();
    EXPECT_EQ(road.first->mass.get(), 1e5);
    EXPECT_EQ(road.first->mass.getField()->getOwnValue(), 1000.0);
}

TEST(OverridesOfOneField, ActInTheOrderOfAddition) {
    Road road;
    road.override("First.Speed=bias 1 m/s");
    road.override("First.Speed=gain 2");
    EXPECT_THAT(road.see(2), ElementsAre(22, 24));
    EXPECT_EQ(Overrides::of(road.application).describe(*road.first->speed.getField()),
              "bias 1 m/s, gain 2; own value 0.2 m/s");
}

TEST(ObserversOfOverriddenFields, MayEndOverridesWhenOneBegins) {
    Road road;
    auto& overrides = Overrides::of(road.application);
    std::string problem;
    int changes = 0;
    const auto observing = road.first->speed.getField()->addObserver([&](const KrData::FieldBase&) {
        if (++changes == 1) {
            EXPECT_EQ(overrides.add("First.Mass=gain 2", problem), Overrides::kNone);
        }
        overrides.clear();
    });
    road.override("*.Speed=bias 1 m/s");
    road.test.step();
    EXPECT_EQ(problem, "an observer of an overridden field adds no overrides");
    EXPECT_THAT(overrides.getAll(), IsEmpty());
    EXPECT_FALSE(road.first->speed.getField()->isOverridden());
}

TEST(OverridesThatEnd, ShowTheOwnValueAgain) {
    Road road;
    const auto number = road.override("*.Speed=bias 1 m/s");
    road.test.step(2);
    EXPECT_TRUE(road.first->speed.getField()->isOverridden());
    EXPECT_TRUE(Overrides::of(road.application).remove(number));
    EXPECT_FALSE(Overrides::of(road.application).remove(number));
    EXPECT_NEAR(road.first->speed.getField()->getValue(), 0.2, 1e-12);
    EXPECT_NEAR(road.second->wind.get(), 0.2, 1e-12);
    EXPECT_FALSE(road.first->speed.getField()->isOverridden());
}

struct Simple {
    const char* name;
    const char* text;
    const char* path;
    const char* shown;
};
class OverridesOfOtherTypes : public testing::TestWithParam<Simple> {};
TEST_P(OverridesOfOtherTypes, CanBeForced) {
    Road road;
    road.override(GetParam().text);
    road.test.step();
    EXPECT_EQ(road.test.getField(GetParam().path).toString(), GetParam().shown);
    Overrides::of(road.application).clear();
    EXPECT_NE(road.test.getField(GetParam().path).toString(), GetParam().shown);
}
INSTANTIATE_TEST_SUITE_P(
    All, OverridesOfOtherTypes,
    testing::Values(Simple{"Boolean", "First.Broken=force yes", "First.Parameters.Broken", "true"},
                    Simple{"Text", "First.Owner=force us all", "First.Parameters.Owner", "us all"},
                    Simple{"Enumeration", "First.Gear=force Park", "First.Parameters.Gear", "Park"},
                    Simple{"Vector", "First.Place=force 1 2 3 km", "First.Parameters.Place", "1000 2000 3000"},
                    Simple{"Integer", "First.Seats=gain 1.6", "First.Parameters.Seats", "6"}),
    [](const auto& each) { return std::string(each.param.name); });

struct RefusedOverride {
    const char* name;
    const char* text;
    const char* problem;
};
class RefusedOverrides : public testing::TestWithParam<RefusedOverride> {};
TEST_P(RefusedOverrides, NameTheCureAndChangeNothing) {
    Road road;
    std::string problem;
    EXPECT_EQ(Overrides::of(road.application).add(GetParam().text, problem), Overrides::kNone);
    EXPECT_THAT(problem, HasSubstr(GetParam().problem));
    EXPECT_THAT(Overrides::of(road.application).getAll(), IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(
    Reasons, RefusedOverrides,
    testing::Values(
        RefusedOverride{"NoSign", "First.Speed bias 1", "is not of the form PATH=KIND AMOUNT"},
        RefusedOverride{"UnknownKind", "First.Speed=bais 1", "'bais' is no kind of override; did you mean 'bias'?"},
        RefusedOverride{"UnknownField", "First.Sped=bias 1", "did you mean 'First.Speed'?"},
        RefusedOverride{"NoAmount", "First.Speed=bias", "'bias' needs an amount"},
        RefusedOverride{"FrozenAmount", "First.Speed=freeze 3", "'freeze' takes no amount"},
        RefusedOverride{"WrongDimension", "First.Speed=bias 1 kg", "'1 kg' is no speed"},
        RefusedOverride{"ForcedOutOfRange", "First.Mass=force 0 kg", "out of the range of the field"},
        RefusedOverride{"NoTime", "First.Speed=bias 1 from now", "'now' is no time"},
        RefusedOverride{"NoDuration", "First.Speed=bias 1 for 2 s", "needs a 'from T' before it"},
        RefusedOverride{"EndsFirst", "First.Speed=bias 1 from 2 s until 1 s", "it ends before it begins"},
        RefusedOverride{"NegativeNoise", "First.Speed=noise -1", "a standard deviation is not negative"},
        RefusedOverride{"NoProbability", "First.Speed=dropout 2", "a probability is from 0 to 1"},
        RefusedOverride{"NoDelay", "First.Speed=delay 0 s", "is no time above 0"},
        RefusedOverride{"EndlessDelay", "First.Speed=delay 365 d", "so long a delay takes too many samples"},
        RefusedOverride{"BiasOfText", "First.Owner=bias 1", "this field can be forced and frozen"},
        RefusedOverride{"NoConditions", "First.Speed=bias 1 when x", "this program reads no conditions"}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(OverridesWithACondition, AreInEffectInFramesBeforeWhichItHeld) {
    Road road;
    Overrides::setConditionMaker([&](const KrSim::KrApplication&, const std::string&, std::string&) {
        return [&] { return road.first->speed.get() > 0.15; };
    });
    road.override("First.Speed=bias 1 m/s when the car is fast");
    EXPECT_THAT(road.see(4), ElementsAre(1, 2, 13, 14));
    Overrides::setConditionMaker({});
}

TEST(OverridesOfAFile, AreAddedTogetherOrNotAtAll) {
    Road road;
    auto& overrides = Overrides::of(road.application);
    std::istringstream bad("# faults\n\nFirst.Speed=bias 1 m/s\r\nFirst.Sped=bias 1\n");
    EXPECT_THAT(overrides.addLines(bad, "faults.txt"),
                ElementsAre(HasSubstr("faults.txt, line 4: there is no field 'First.Sped'")));
    EXPECT_THAT(overrides.getAll(), IsEmpty());
    std::istringstream good("First.Speed=bias 1 m/s\r\n*.Mass=gain 2\n");
    EXPECT_THAT(overrides.addLines(good, "faults.txt"), IsEmpty());
    EXPECT_EQ(overrides.getAll().size(), 3U);
}

TEST(OverridesOfFieldsThatLeave, AreToldOnce) {
    Road road;
    road.override("First.Speed=bias 1 m/s");
    road.test.step();
    const KrTesting::LogCapture log;
    road.application.remove(road.first->_getProxy());
    road.test.step(3);
    EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn), ElementsAre(HasSubstr("'First.Outputs.Speed' was removed")));
    EXPECT_TRUE(Overrides::of(road.application).getAll().front().isLost);
}

TEST(SavedContent, HasTheValuesWithoutOverrides) {
    Road road;
    road.override("First.Mass=force 5 t");
    road.test.step();
    ASSERT_EQ(road.first->mass.get(), 5000.0);
    const test_support::TemporaryFolder folder;
    KrSim::KrExtension* const saved[] = {road.first->_getProxy()};
    const auto file = (folder / "car.xml").string();
    ASSERT_TRUE(KrPersistence::saveObjects(file, saved, KrPersistence::KrFile::kXml));
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    EXPECT_THAT(text.str(), HasSubstr("1000"));
    EXPECT_THAT(text.str(), testing::Not(HasSubstr("5000")));
    EXPECT_EQ(road.first->mass.get(), 5000.0);
}

// Every kind, in the middle of its effect.
constexpr const char* kAll[] = {"First.Speed=noise 0.1 m/s", "First.Speed=delay 0.3 s from 0.4 s",
                                "Second.Wind=dropout 50 %",  "First.Mass=gain 2 from 1 s until 3 s",
                                "First.Gear=freeze",         "First.Owner=force you from 2 s",
                                "Second.Speed=bias 1 m/s"};

TEST(OverridesAndStates, AReplayHasTheSameValues) {
    Road road;
    for (const auto* each : kAll)
        road.override(each);
    EXPECT_EQ(road.test.explainReplay(15, 40), "");
}

TEST(OverridesAndStates, ARewindBringsBackOverridesThatWereRemovedAndEndsThoseThatWereAdded) {
    Road road;
    for (const auto* each : kAll)
        road.override(each);
    road.test.step(15);
    const auto snapshot = KrPersistence::SimulationSnapshot::take(road.application);
    const auto first = road.see(20);
    Overrides::of(road.application).clear();
    road.override("Second.Mass=gain 3");
    road.test.step(5);
    ASSERT_TRUE(snapshot->restore(road.application).isRestored);
    EXPECT_EQ(road.see(20), first);
    EXPECT_EQ(Overrides::of(road.application).getAll().size(), std::size(kAll));
    EXPECT_EQ(road.second->mass.get(), 1000.0);
}

TEST(OverridesAndStates, AStateWithoutOverridesLeavesThemToBeginAnew) {
    Road road;
    road.test.step(5);
    const auto snapshot = KrPersistence::SimulationSnapshot::take(road.application);
    road.override("First.Speed=bias 1 m/s");
    road.test.step(5);
    ASSERT_TRUE(snapshot->restore(road.application).isRestored);
    EXPECT_THAT(road.see(2), ElementsAre(16, 17));
    EXPECT_NEAR(road.first->speed.get(), 0.7, 1e-12);
}

TEST(OverridesAndClones, ACloneHasTheOwnValue) {
    Road road;
    road.override("First.Mass=force 5 t");
    road.test.step();
    const auto clone = road.first->_getProxy()->clone();
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->getParameter("Mass")->toReal(), 1000.0);
}

}  // namespace
