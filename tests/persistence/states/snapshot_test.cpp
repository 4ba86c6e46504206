#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_id_list.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/object.h"
#include "kr/persistence/states/simulation_snapshot.h"
#include "kr/persistence/states/snapshot_ring.h"
#include "tests/persistence/states/world.h"
#include "tests/support/log_capture.h"

namespace snapshot_test {

using KrPersistence::RestoreReport;
using KrPersistence::SimulationSnapshot;
using KrPersistence::SnapshotRing;
using KrSim::KrExtension;
using states_test::Holder;
using states_test::proxyOf;
using states_test::World;
using testing::ElementsAre;

using Priority = KrSim::IExtensionState::eRestoreStatePriority;

TEST(Snapshot, LetsARunGoOnAsBeforeBitByBit) {
    World world;
    std::vector<double> trace;
    const auto record = [&](int frames) {
        trace.clear();
        for (int i = 0; i < frames; ++i) {
            world.run(1);
            const auto context = world.application->getContext();
            for (const double value :
                 {double(world.first->speed), double(world.second->speed), double(world.second->force),
                  double(context.getFrame()), context.getElapsedSeconds(), context.getSecondsBetweenFrames()}) {
                trace.push_back(value);
            }
        }
        return trace;
    };
    world.run(7);
    const auto snapshot = world.take();
    const auto expected = record(20);
    world.first->force.getField()->setValue(-5.0);
    world.application->setSimulationFrameRate(10.0);
    world.run(3);
    EXPECT_TRUE(snapshot->restore(*world.application).isComplete());
    const auto again = record(20);
    ASSERT_EQ(expected.size(), again.size());
    for (std::size_t i = 0; i < again.size(); ++i)
        EXPECT_NEAR(expected[i], again[i], i % 6 < 4 ? 0.0 : 1e-9) << "the times of a clock that went on, at " << i;
}

TEST(Snapshot, TransfersNothingOverConnectionsWhichThenGoOnWithTheRestoredValues) {
    World world;
    // A sink that has another value than its source, which a transfer would set right.
    world.second->force.getField()->setValue(42.0);
    const auto snapshot = world.take();
    world.first->speed = 7.0;
    int heard = 0;
    const auto watch = world.first->speed.getField()->addObserver([&](const KrData::FieldBase&) { ++heard; });
    world.first->onRestored = [&] { world.first->speed = 99.0; };
    snapshot->restore(*world.application);
    EXPECT_EQ(world.first->speed, 0.0);
    EXPECT_EQ(world.second->force, 42.0);
    EXPECT_GE(heard, 1);
    world.first->speed = 3.0;
    EXPECT_EQ(world.second->force, 3.0);
}

TEST(Snapshot, CountsContentThatCameAndWentAndLeavesItAlone) {
    World world;
    auto& fields = proxyOf(world.first).getParameterContainer();
    fields.add<int>("Gone", 1);
    const Kr::KrSmartPtr<KrExtension> gone(&proxyOf(world.second));
    const auto snapshot = world.take();
    world.first->drag = 9.0;
    world.second->drag = 9.0;
    world.application->remove(gone.get());
    auto* added = world.add("Added");
    added->drag = 9.0;
    fields.removeField("Gone");
    const auto report = snapshot->restore(*world.application);
    EXPECT_EQ(std::tuple(report.restored, report.missing, report.untouched, report.missingFields),
              std::tuple(2U, 1U, 1U, 1U));
    EXPECT_FALSE(report.isComplete());
    EXPECT_EQ(std::tuple(double(world.first->drag), double(world.second->drag), double(added->drag)),
              std::tuple(0.1, 9.0, 9.0));
}

TEST(Snapshot, PutsNullWhereAReferencedExtensionHasDied) {
    World world;
    auto target = Kr::makeSmart<KrExtension>();
    auto* field = proxyOf(world.first).addParameter("Target", KrData::Types::kExtension);
    field->set<KrExtension*>(target.get());
    const auto snapshot = world.take();
    field->set<KrExtension*>(nullptr);
    snapshot->restore(*world.application);
    EXPECT_EQ(field->toExtension(), target.get());
    field->set<KrExtension*>(nullptr);
    target.reset();
    snapshot->restore(*world.application);
    EXPECT_EQ(field->toExtension(), nullptr);
}

TEST(Snapshot, SurvivesImplementationsThatThrow) {
    World world;
    test_support::LogCapture log;
    world.first->throws = true;
    auto snapshot = world.take();
    world.first->drag = 5.0;
    world.first->throws = false;
    bool isHanded = false;
    world.first->onRestored = [&] { isHanded = true; };
    EXPECT_TRUE(snapshot->restore(*world.application).isComplete());
    EXPECT_FALSE(isHanded) << "half a state is worse than none";
    EXPECT_EQ(world.first->drag, 0.1);
    snapshot = world.take();
    world.first->throws = true;
    EXPECT_TRUE(snapshot->restore(*world.application).isComplete());
    EXPECT_THAT(log.lines(), testing::IsSupersetOf(
                                 {testing::HasSubstr("KrExtension: fatal error in 'First' onStateSave() [cannot save]"),
                                  testing::HasSubstr("KrExtension: fatal error in 'First' onStateRestore() [cannot "
                                                     "restore]")}));
}

TEST(Snapshot, BringsDelayedAndQueuedEventsBack) {
    World world;
    using KrSim::KrEventDispatcher;
    const int number = KrSim::EventIDList::instance().add("Tests.Snapshot");
    std::vector<std::string> heard;
    const test_support::RecordingListener listener(heard, "", {number}, [&](const KrSim::KrSimEvent& event) {
        heard.back() =
            std::to_string(*event.read<int>()) + "@" + std::to_string(world.application->getContext().getFrame());
    });
    const auto send = [&](int payload, double delay) {
        KrSim::KrSimEvent event(number, sizeof payload, &payload);
        event.setDelay(delay);
        KrEventDispatcher::sendEventLocally(event);
    };
    world.run(1);
    send(1, 2.5 / 60.0);
    world.run(1);
    KrEventDispatcher::enableExternalControl(true);
    send(2, 0.0);
    const auto snapshot = world.take();
    world.run(3);
    const auto first = heard;
    EXPECT_THAT(first, testing::SizeIs(2));
    send(3, 0.0);         // waits when the run is left
    send(4, 1.0 / 60.0);  // is of the run that is left
    heard.clear();
    snapshot->restore(*world.application);
    EXPECT_THAT(heard, testing::SizeIs(1)) << "what waits is heard before";
    heard.clear();
    world.run(6);
    EXPECT_EQ(heard, first);
}

class Prioritised final : public KrSim::ISimulatorModule {
public:
    Prioritised(KrSim::KrSimulatorModule* proxy, Priority priority, std::vector<std::string>& calls)
        : ISimulatorModule(proxy, 1), _priority(priority), _calls(calls) {}
    [[nodiscard]] Priority getRestoreStatePriority() const override { return _priority; }
    void onStateRestore(std::istream&) override { _calls.push_back(getName()); }
    void onFillSimulationState(Kr::KrSmartPtr<KrSim::KrSimulationState> state) const override {
        if (helper) helper->fillSimulationState(state);
    }
    Kr::KrSmartPtr<KrExtension> helper;

private:
    Priority _priority;
    std::vector<std::string>& _calls;
};

TEST(Snapshot, RestoresModulesByPriorityAndWhatTheyAdd) {
    World world;
    std::vector<std::string> calls;
    const auto insert = [&](const char* name, Priority priority) {
        const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
        proxy->setName(name);
        auto* module = new Prioritised(proxy.get(), priority, calls);
        world.application->insertModule(Holder(module));
        return module;
    };
    auto* last = insert("After", Priority::kAfterContent);
    insert("Before", Priority::kBeforeContent);
    last->helper = Kr::makeSmart<KrExtension>();
    auto* value = last->helper->addParameter("Value", KrData::Types::kDouble);
    world.first->onRestored = [&] { calls.emplace_back("Content"); };
    const auto snapshot = world.take();
    value->set(1.0);
    EXPECT_TRUE(snapshot->restore(*world.application).isComplete());
    EXPECT_THAT(calls, ElementsAre("Before", "Content", "After"));
    EXPECT_EQ(value->toReal(), 0.0);
}

TEST(Snapshot, WaitsForTheEndOfAFrame) {
    World world;
    test_support::LogCapture log;
    const auto snapshot = world.take();
    std::vector<std::string> order;
    world.stepper->inUpdate = [&] {
        EXPECT_FALSE(SimulationSnapshot::take(*world.application));
        EXPECT_FALSE(snapshot->restore(*world.application).isRestored);
        EXPECT_TRUE(restoreBetweenFrames(*world.application, snapshot, [&](const RestoreReport& report) {
            EXPECT_TRUE(report.isComplete());
            order.emplace_back("restored");
        }));
        order.emplace_back("asked");
    };
    world.run(1);
    EXPECT_THAT(order, ElementsAre("asked", "restored"));
    EXPECT_EQ(world.first->speed, 0.0);
    EXPECT_EQ(log.lines().size(), 2U);
    world.application->run({.frames = 5});
    EXPECT_EQ(world.application->getContext().getFrame(), 4U) << "counted from the restored one";
}

std::vector<std::uint64_t> framesOf(const SnapshotRing& ring) {
    std::vector<std::uint64_t> frames;
    for (std::size_t i = 0; i < ring.size(); ++i)
        frames.push_back(ring.at(i)->getFrame());
    return frames;
}

TEST(SnapshotRing, KeepsTheLastOnesAndRewinds) {
    World world;
    SnapshotRing ring(*world.application, {.maximumCount = 3, .framesApart = 2});
    ring.startRecording();
    std::vector<double> speeds{0.0};
    for (int i = 0; i < 11; ++i) {
        world.run(1);
        speeds.push_back(world.second->speed);
    }
    EXPECT_THAT(framesOf(ring), ElementsAre(7, 9, 11));
    RestoreReport report;
    const auto keep = [&](const RestoreReport& answer) { report = answer; };
    ring.rewindTo(6, keep);
    EXPECT_EQ(report.error, "no snapshot is as old as frame 6");
    ring.rewindTo(10, keep);
    EXPECT_TRUE(report.isComplete());
    EXPECT_THAT(framesOf(ring), ElementsAre(7, 9));
    EXPECT_EQ(world.second->speed, speeds[9]);
    world.run(2);
    EXPECT_EQ(world.second->speed, speeds[11]);
    EXPECT_THAT(framesOf(ring), ElementsAre(7, 9, 11));
    ring.at(0)->restore(*world.application);  // behind its back
    world.run(4);
    EXPECT_THAT(framesOf(ring), ElementsAre(7, 8, 10));

    SnapshotRing small(*world.application, {.maximumBytes = ring.at(0)->getSizeBytes() * 5 / 2});
    for (int i = 0; i < 5; ++i) {
        world.run(1);
        small.record();
    }
    EXPECT_THAT(framesOf(small), ElementsAre(15, 16));
}

}  // namespace snapshot_test
