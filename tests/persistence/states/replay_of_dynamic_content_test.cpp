#include <gmock/gmock.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/context/application_context.h"
#include "kr/application/context/random_stream.h"
#include "kr/application/modules/module_of.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/extension/typed_field.h"
#include "kr/integration/dynamics.h"
#include "kr/persistence/states/simulation_snapshot.h"
#include "kr/persistence/states/simulation_state_file.h"
#include "kr/persistence/states/snapshot_ring.h"
#include "kr/testing/test_application.h"
#include "tests/support/dispatcher_scope.h"

// Content with rates, feedback, integrators and random numbers: a run that returns to an earlier state repeats itself,
// bit by bit, in whichever way it returns.

namespace replay_of_dynamic_content_test {

using KrPersistence::SimulationSnapshot;
using KrSim::KrApplication;
using KrSim::KrExtension;
using KrSim::StepRate;
using testing::ElementsAreArray;

/// A part whose output depends on all steps before.
class Part : public KrSim::IExtension {
public:
    enum Group : std::size_t { kEachFrame, kFourTimes, kEveryThird, kAtHertz, kAtSlowHertz };

    explicit Part(KrExtension* proxy) : IExtension(proxy, 1) {}
    virtual void step(double seconds) { value = value + (1.0 + value * value) * seconds * 0.01; }

    Group group{kEachFrame};
    KrSim::Output<double> value{this, "Value"};
};

/// Swings; what the others do returns to it.
class Swing final : public Part {
public:
    using Part::Part;
    void step(double seconds) override {
        dynamics.step(seconds, [this](double time) { speed.setDerivative(force - 40.0 * position + time); });
        value = position + speed;
    }

    KrSim::Input<double> force{this, "Force", {.value = 1.0}};
    KrSim::Dynamics dynamics{this, {.method = KrSim::eIntegrator::kDormandPrince}};
    KrSim::State<double> speed{dynamics, "Speed"};
    KrSim::State<double> position{speed, "Position"};
};

class Noise final : public Part {
public:
    using Part::Part;
    void step(double) override {
        if (!_isStarted) _stream = getApplicationContext().getRandomStream("Noise");
        _isStarted = true;
        value = value + _stream.getNormal();
    }

private:
    KrSim::RandomStream _stream;
    bool _isStarted{false};
};

/// Answers the swing, which has the answer by an event.
class Answer final : public Part {
public:
    using Part::Part;
    void step(double) override { value = 0.5 * value - heard; }
    KrSim::Input<double> heard{this, "Heard"};
};

class Stepper final : public KrSim::ModuleOf<Part> {
public:
    explicit Stepper(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, 1) {
        addStepGroup("Four Times", StepRate::perFrame(4));
        addStepGroup("Every Third", StepRate::everyFrames(3, 1));
        addStepGroup("Hertz", StepRate::hertz(100.0, StepRate::eRest::kCarried));
        addStepGroup("Slow Hertz", StepRate::hertz(13.0, StepRate::eRest::kCarried));
    }
    using ModuleOf::regroupUnits;
    void onStep(Part& part, double seconds) override { part.step(seconds); }
    [[nodiscard]] std::size_t findStepGroup(const Part& part) const override { return part.group; }
};

struct World {
    World() {
        add<Part>("Four Times", Part::kFourTimes);
        add<Part>("Every Third", Part::kEveryThird);
        add<Part>("Hertz", Part::kAtHertz);
        auto& swing = add<Swing>("Swing", Part::kFourTimes);
        auto& answer = add<Answer>("Answer", Part::kEachFrame);
        add<Noise>("Noise", Part::kEachFrame);
        add<Noise>("Fast Noise", Part::kFourTimes);
        Kr::KrConnectionFactory::connect(*swing.value.getField(), *answer.heard.getField());
        Kr::KrConnectionFactory::connectQueued(answer.value.getField(), swing.force.getField());
        auto& first = add<Answer>("First", Part::kFourTimes);
        auto& second = add<Answer>("Second", Part::kFourTimes);
        auto& third = add<Answer>("Third", Part::kEachFrame);
        auto& slow = add<Part>("Slow Hertz", Part::kAtSlowHertz);
        first.value = 1.0;
        Kr::KrConnectionFactory::connectUnitDelay(first.value.getField(), second.heard.getField());
        Kr::KrConnectionFactory::connectUnitDelay(second.value.getField(), first.heard.getField());
        Kr::KrConnectionFactory::connectUnitDelay(second.value.getField(), third.heard.getField());
        auto& line = add<Answer>("Line", Part::kFourTimes);
        auto& longLine = add<Answer>("Long Line", Part::kFourTimes);
        auto& hertzLine = add<Answer>("Hertz Line", Part::kFourTimes);
        Kr::KrConnectionFactory::connectInterpolated(answer.value.getField(), line.heard.getField());
        Kr::KrConnectionFactory::connectInterpolated(parts[1]->value.getField(), longLine.heard.getField());
        Kr::KrConnectionFactory::connectInterpolated(slow.value.getField(), hertzLine.heard.getField());
    }
    template <class T>
    T& add(const char* name, Part::Group group) {
        auto& part = test.make<T>(name);
        part.group = group;
        stepper.regroupUnits();
        parts.push_back(&part);
        return part;
    }
    /// The value of a part at the end of each of the frames.
    std::vector<double> run(std::size_t part, int frames) {
        std::vector<double> values;
        for (int frame = 0; frame < frames; ++frame) {
            test.step(1);
            values.push_back(parts[part]->value);
        }
        return values;
    }

    test_support::DispatcherScope dispatcher;
    KrTesting::TestApplication test;
    KrApplication& application{test.getApplication()};
    Stepper& stepper{test.make<Stepper>("Stepper")};
    std::vector<Part*> parts;
};

struct PartCase {
    const char* name;
    std::size_t part;
};
const PartCase kParts[] = {{"FourStepsAFrame", 0},
                           {"EveryThirdFrame", 1},
                           {"HertzWithARest", 2},
                           {"Integrator", 3},
                           {"QueuedFeedback", 4},
                           {"RandomStream", 5},
                           {"FastRandomStream", 6},
                           {"FastUnitDelay", 7},
                           {"UnitDelayBack", 8},
                           {"UnitDelayOfFrames", 9},
                           {"SlowHertz", 10},
                           {"Interpolated", 11},
                           {"InterpolatedOverThreeFrames", 12},
                           {"InterpolatedFromHertz", 13}};

/// Keeps the state of a world, disturbs the world, and restores the state.
struct WayCase {
    const char* name;
    void (*replay)(World& world, void (*disturb)(World&));
};

void bySnapshot(World& world, void (*disturb)(World&)) {
    const auto snapshot = SimulationSnapshot::take(world.application);
    disturb(world);
    EXPECT_TRUE(snapshot->restore(world.application).isComplete());
}

void byRewinding(World& world, void (*disturb)(World&)) {
    KrPersistence::SnapshotRing ring(world.application);
    ring.record();
    const auto frame = world.application.getContext().getFrame();
    disturb(world);
    EXPECT_TRUE(ring.rewindTo(frame + 1));
}

void byStateFile(World& world, void (*disturb)(World&)) {
    std::stringstream file(std::ios::in | std::ios::out | std::ios::binary);
    EXPECT_TRUE(KrPersistence::saveSimulationState(world.application, file));
    disturb(world);
    EXPECT_TRUE(KrPersistence::restoreSimulationState(world.application, file));
}

const WayCase kWays[] = {{"Snapshot", bySnapshot}, {"Rewind", byRewinding}, {"StateFile", byStateFile}};

class Replay : public testing::TestWithParam<std::tuple<PartCase, WayCase>> {};

TEST_P(Replay, RepeatsTheRunBitByBit) {
    const auto& [part, way] = GetParam();
    World reference;
    reference.run(part.part, 25);
    const auto expected = reference.run(part.part, 40);

    World world;
    world.run(part.part, 25);
    way.replay(world, [](World& disturbed) {
        disturbed.application.setSimulationFrameRate(25.0);
        disturbed.run(0, 10);
    });
    EXPECT_THAT(world.run(part.part, 40), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(Content, Replay, testing::Combine(testing::ValuesIn(kParts), testing::ValuesIn(kWays)),
                         [](const auto& each) {
                             return std::string(std::get<0>(each.param).name) + "By" + std::get<1>(each.param).name;
                         });

}  // namespace replay_of_dynamic_content_test
