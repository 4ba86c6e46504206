#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/application/i_application_listener.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager.h"
#include "kr/events/sim_event.h"
#include "kr/extension/typed_field.h"
#include "tests/support/case_name.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/in_process_event_channel.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_module.h"
#include "tests/support/scripted_clock.h"

namespace application_frame_test {

using KrSim::eSynchronizationMode;
using KrSim::KrApplication;
using test_support::DispatcherScope;
using test_support::LogCapture;
using test_support::makeModule;
using test_support::recording;
using test_support::ScriptedClock;
using testing::ElementsAre;

constexpr double kTick = 20e-6;  // what asking the clock costs
constexpr double kStep = 1.0 / 60.0;

struct Host {
    ScriptedClock clock{1e-3};
    std::vector<std::string> calls;
    DispatcherScope dispatcher;
    Kr::KrSmartPtr<KrApplication> application = KrApplication::create(clock);
    test_support::RecordingModule::Holder module = makeModule("M", calls);
    const KrSim::ApplicationContext context = application->getContext();

    /// Inserts the module, which does this in each onUpdate.
    void work(std::function<void()> inUpdate) {
        recording(module).onEachCall = [inUpdate](const std::string& callback) {
            if (callback == "onUpdate") inUpdate();
        };
        application->insertModule(module);
        calls.clear();
    }
};

TEST(Frame, GoesThroughItsStagesInOrder) {
    Host host;
    auto& calls = host.calls;
    host.work([] {});
    const auto& context = host.context;
    host.application->getInternals().masterStep = [&](const auto&) { calls.emplace_back("master"); };
    struct Listener final : KrSim::IApplicationListener {
        explicit Listener(std::vector<std::string>& log) : _log(log) {}
        void onFrameEnded(KrApplication*) override { _log.emplace_back("ended"); }
        void onRunEnded(KrApplication* application, int) override {
            _log.emplace_back(application->getContext().isRunning() ? "running" : "over");
        }
        std::vector<std::string>& _log;
    } listener(calls);
    host.application->registerListener(&listener);
    const test_support::RecordingListener events(calls, "event", {77});
    KrSim::KrSimEvent delayed(77);
    delayed.setDelay(-1.0);  // with the next frame
    KrSim::KrEventDispatcher::sendEventLocally(delayed);
    context.executeLater([&] {
        calls.emplace_back("before");
        context.executeLater([&] {
            calls.emplace_back("after " + std::to_string(context.getFrame()));
            context.executeLater([&] { calls.emplace_back("next " + std::to_string(context.getFrame())); });
        });
    });
    EXPECT_TRUE(host.application->update());
    host.application->setCommunicationModel(KrSim::eCommunicationModel::kSlave);
    host.application->sendExitApplicationRequest();
    EXPECT_FALSE(host.application->update());
    host.application->unregisterListener(&listener);
    EXPECT_THAT(calls, ElementsAre("event77", "before", "master", "M onPreUpdate 1", "M onUpdate 1", "M onPostUpdate 1",
                                   "after 0", "ended", "next 1", "M onPreUpdate 1", "M onUpdate 1", "M onPostUpdate 1",
                                   "ended", "over"));
}

TEST(Frame, TellsTimesThroughTheContext) {
    Host host;
    host.application->setSyncMode(eSynchronizationMode::kSWSync);
    std::vector<std::vector<double>> told;
    host.work([&] {
        const auto& context = host.context;
        told.push_back({context.getFrame() + 0.0, context.getElapsedSeconds(), context.getSecondsBetweenFrames(),
                        context.getUpdateSeconds(), context.getWaitSeconds()});
        host.clock.work(told.size() == 2 ? 0.04 : 5e-3);
    });
    EXPECT_EQ(host.application->run({.frames = 4}), 0);
    const std::vector<std::vector<double>> expected{{0, 0, 0, 0, 0},
                                                    {1, kStep, kStep, 5e-3, kStep - 5e-3},
                                                    {2, kStep + 0.04, 0.04, 0.04, 0},
                                                    {3, 2 * kStep + 0.04, kStep, 5e-3, kStep - 5e-3}};
    ASSERT_EQ(told.size(), expected.size());
    for (std::size_t frame = 0; frame < expected.size(); ++frame) {
        EXPECT_THAT(told[frame], testing::Pointwise(testing::DoubleNear(kTick), expected[frame])) << "frame " << frame;
    }
    EXPECT_NEAR(host.clock.sleptSeconds, 2 * (kStep - 6e-3), 2 * kTick);
    const auto statistics = host.application->getFrameStatistics();
    EXPECT_EQ(statistics.overworked.count, 1U);
    EXPECT_NEAR(statistics.overworked.worstSeconds, 0.04 - kStep, kTick);
    EXPECT_NEAR(statistics.simulatedSeconds, 4 * kStep, 1e-12);
}

TEST(Frame, CountsSimulatedTimeExactlyThroughChangesOfTheRate) {
    Host host;
    host.application->setSimulationFrameRate(10.0);
    std::vector<std::vector<double>> told;
    host.work([&] {
        told.push_back({host.context.getSimulatedSeconds(), static_cast<double>(host.context.getTicks()),
                        host.context.getStepSeconds()});
        if (told.size() == 3) host.application->setSimulationFrameRate(4.0);  // counts from the next frame on
    });
    host.application->run({.frames = 5});
    EXPECT_THAT(told, ElementsAre(ElementsAre(0.0, 0.0, 0.1), ElementsAre(0.1, 1.0, 0.1), ElementsAre(0.2, 2.0, 0.1),
                                  ElementsAre(3 * 0.1, 0.0, 0.25), ElementsAre(3 * 0.1 + 0.25, 1.0, 0.25)));
}

TEST(Frame, DoesNotAddUpRoundingInSimulatedTime) {
    Host host;
    host.application->setSimulationFrameRate(10.0);
    host.application->run({.frames = 100001});
    EXPECT_EQ(host.context.getSimulatedSeconds(), 100000 * 0.1);
}

TEST(Frame, KeepsSimulatedTimeWhilePaused) {
    Host host;
    host.application->step(3);
    for (int i = 0; i < 6; ++i)
        host.application->update();
    EXPECT_EQ(host.context.getTicks(), 2U);
}

struct SyncCase {
    const char* name;
    eSynchronizationMode mode;
    bool pacesWithVSync, isPaced;
};
class SyncModes : public testing::TestWithParam<SyncCase> {};

TEST_P(SyncModes, PaceByTheClockOrRunFree) {
    Host host;
    host.application->setSyncMode(GetParam().mode);
    host.application->setClockPacingWithVSync(GetParam().pacesWithVSync);
    EXPECT_EQ(host.application->run({.seconds = 10 * kStep}), 0);
    EXPECT_EQ(host.context.getFrame(), 9U);
    EXPECT_NEAR(host.context.getElapsedSeconds(), GetParam().isPaced ? 9 * kStep : 0.0, 10 * kTick);
    EXPECT_EQ(host.context.getFrameStatistics().realTimeFactor > 100.0, !GetParam().isPaced);
}

const SyncCase kSyncModes[] = {
    {"Off", eSynchronizationMode::kSyncOff, true, false},
    {"VSync", eSynchronizationMode::kVSync, true, false},
    {"SWSync", eSynchronizationMode::kSWSync, false, true},
    {"Both", eSynchronizationMode::kSWAndVSync, true, true},
    {"DisplayPaces", eSynchronizationMode::kSWAndVSync, false, false},
};
INSTANTIATE_TEST_SUITE_P(All, SyncModes, testing::ValuesIn(kSyncModes), test_support::caseName);

struct RateCase {
    const char* name;
    double set, paced, requested;
    std::vector<std::string> log;
};
class FrameRate : public testing::TestWithParam<RateCase> {};

TEST_P(FrameRate, IsClampedAndLoggedAsRequested) {
    Host host;
    const LogCapture log;
    host.application->setSimulationFrameRate(GetParam().set);
    EXPECT_EQ(log.lines(), GetParam().log);
    EXPECT_EQ(host.application->getSimulationFrameRate(), GetParam().paced);
    EXPECT_EQ(host.context.getRequestedFrameRate(), GetParam().requested);
    EXPECT_EQ(host.application->getSimulationTimeStep(), 1.0 / GetParam().paced);
    EXPECT_EQ(host.application->getConfiguration()->simulationFrameRate.get(), GetParam().paced);
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const std::string kRateText = "5 KrApplication: Frame rate set to ";

const RateCase kRates[] = {
    {"Same", 60, 60, 60, {kRateText + "60 Hz"}},
    {"Other", 50, 50, 50, {kRateText + "50 Hz"}},
    {"Above", 250000, 100000, 250000, {kRateText + "250000 Hz"}},
    {"Zero", 0, 0.1, 0, {kRateText + "0 Hz"}},
    {"Negative", -5, 0.1, -5, {kRateText + "-5 Hz"}},
    {"Infinite", kInfinity, 100000, kInfinity, {kRateText + "inf Hz"}},
    {"NaN",
     std::nan(""),
     60,
     60,
     {kRateText + "nan Hz", "3 KrApplication: A frame rate that is no number is ignored, it stays 60 Hz\n"}},
};
INSTANTIATE_TEST_SUITE_P(Rates, FrameRate, testing::ValuesIn(kRates), test_support::caseName);

TEST(Configuration, TakesEffectAfterThePassesWhenItsFieldsAreChanged) {
    const LogCapture log;
    Host host;
    auto* configuration = host.application->getConfiguration();
    std::vector<double> rates;
    host.work([&] {
        configuration->simulationFrameRate = 25.0;
        configuration->synchronizationMode = Kr::KrEnum(static_cast<eSynchronizationMode>(9));
        configuration->communicationModel = Kr::KrEnum(KrSim::eCommunicationModel::kSlave);
        rates.push_back(host.context.getSimulationFrameRate());
    });
    host.application->run({.frames = 2});
    EXPECT_THAT(rates, ElementsAre(60.0, 25.0));
    EXPECT_EQ(host.application->getSyncMode(), eSynchronizationMode::kSWAndVSync);
    EXPECT_TRUE(host.application->isSlave());
    EXPECT_THAT(log.lines(), testing::Contains("3 KrApplication: 'Synchronization Mode' of the setup has the value 9, "
                                               "which does not exist; it is ignored\n"));
}

TEST(Frame, AllocatesNothingInTheSteadyState) {
    class Busy final : public KrSim::ISimulatorModule {
    public:
        explicit Busy(KrSim::KrSimulatorModule* proxy) : ISimulatorModule(proxy, 1) { EXPECT_TRUE(queued.isValid()); }
        void onExtensionAdded(KrSim::KrExtension* extension) override { _addManagedExtension(extension); }
        void onUpdate(KrSim::eApplicationMode) override {
            _sortManagedExtensions();
            managed += getManagedExtensions().size();
            getApplicationContext().executeLater([this] { ++ran; });
            speed = speed + 1.0;
        }
        std::uint64_t ran{0};
        std::uint64_t managed{0};
        KrSim::Output<double> speed{this, "Speed"};
        KrSim::Input<double> followed{this, "Followed"};
        Kr::KrSimQueuedConnection queued{speed.getField(), followed.getField()};
    };
    Host host;
    const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
    auto* busy = new Busy(proxy.get());
    host.application->insertModule(KrSim::KrSmartInterface<KrSim::ISimulatorModule>(busy));
    for (int i = 0; i < 100; ++i)
        host.application->add(Kr::makeSmart<KrSim::KrExtension>().get());
    KrSim::IApplicationListener listener;
    host.application->registerListener(&listener);
    host.application->run({.frames = 99});
    host.application->update();
    const auto before = kr_benchmark::allocations();
    for (int i = 0; i < 1000; ++i)
        host.application->update();
    EXPECT_EQ(kr_benchmark::allocations() - before, 0U);
    EXPECT_EQ(busy->ran, 1100U);
    EXPECT_EQ(busy->managed, 110'000U);
    EXPECT_EQ(busy->followed.get(), 1100.0);
    host.application->unregisterListener(&listener);
}

TEST(Pause, LetsFramesGoByAndTimeStand) {
    Host host;
    std::vector<std::string> told;
    host.work([&] {
        told.push_back(std::to_string(host.context.getFrame()) + (host.context.isPaused() ? " paused" : ""));
        host.clock.work(1e-3);
    });
    auto& application = *host.application;
    application.update();
    application.update();
    application.pause();
    const double elapsed = host.context.getElapsedSeconds();
    bool ran = false;
    for (int i = 0; i < 100; ++i) {
        host.context.executeLater([&] { ran = host.context.isPaused(); });
        EXPECT_TRUE(application.update());
    }
    EXPECT_TRUE(ran);
    EXPECT_NEAR(host.context.getElapsedSeconds(), elapsed, kTick);
    application.step(2);
    for (int i = 0; i < 10; ++i)
        application.update();
    EXPECT_THAT(told, ElementsAre("0", "1", "2", "3"));
    application.resume();
    application.update();
    EXPECT_THAT(told, ElementsAre("0", "1", "2", "3", "4"));
    EXPECT_NEAR(host.context.getElapsedSeconds(), elapsed + 3 * kStep, 200 * kTick);
    EXPECT_NEAR(host.context.getSecondsBetweenFrames(), kStep, kTick);
    EXPECT_NEAR(application.getFrameStatistics().meanRealTimeFactor, 1.0, 1e-2);
    application.pause();
    application.sendExitApplicationRequest();
    EXPECT_EQ(application.run(), 0);
}

TEST(Exit, LetsTheFrameFinishAndOneRunWhenItCameBefore) {
    const LogCapture log;
    Host host;
    host.work([&] { host.application->sendExitApplicationRequest(); });
    EXPECT_EQ(host.application->run(), 0);
    EXPECT_EQ(host.calls.size(), 3U);
    EXPECT_THAT(log.lines(), testing::Contains("6 KrApplication: Exiting run(), exit value = 0\n"));
    EXPECT_FALSE(host.context.isRunning());
    host.application->requestExitFromSignal();
    EXPECT_EQ(host.application->run(), 0);
    EXPECT_EQ(host.calls.size(), 6U);
    EXPECT_EQ(host.application->run({.frames = 0}), 0);
    EXPECT_EQ(host.calls.size(), 6U);
}

struct ExitCase {
    const char* name;
    KrApplication::eExitRequestMode mode;
    bool exitsHere;
    bool isSent;
};
class ExitModes : public testing::TestWithParam<ExitCase> {};

TEST_P(ExitModes, ReachWhomTheyAreMeantFor) {
    Host host;
    auto [here, there] = test_support::InProcessEventChannel::makePair();
    KrSim::KrEventDispatcher::setSharedEventChannel(here);
    host.work([] {});
    host.application->sendExitApplicationRequest(GetParam().mode);
    EXPECT_EQ(host.application->update(), !GetParam().exitsHere);
    std::vector<KrSim::KrSimEvent> sent;
    there->receiveEvents(sent);
    std::erase_if(sent, [](const auto& each) {
        return each.ID() != KrApplication::kStopApplicationEvent._getNumber() &&
               each.ID() != KrApplication::kStopOtherApplicationsEvent._getNumber();
    });
    ASSERT_EQ(sent.size(), GetParam().isSent ? 1U : 0U);
    if (GetParam().exitsHere) return;
    there->sendEvent(sent.front());  // comes back as that of another application
    EXPECT_FALSE(host.application->update());
}

const ExitCase kExits[] = {
    {"This", KrApplication::eExitRequestMode::kThis, true, false},
    {"All", KrApplication::eExitRequestMode::kAll, true, true},
    {"Others", KrApplication::eExitRequestMode::kOthers, false, true},
};
INSTANTIATE_TEST_SUITE_P(All, ExitModes, testing::ValuesIn(kExits), test_support::caseName);

TEST(Exit, FollowsAnExceptionOutOfAFrame) {
    struct {
        bool throwsException;
        std::string stop, run;
    } const cases[] = {
        {true, "2 Stopping simulation because of exception: no\n", "2 KrApplication::run(): Exception caught: no\n"},
        {false, "2 Unhandled exception, stopping current simulation.\n",
         "2 KrApplication::run(): Unknown exception caught\n"}};
    for (const auto& each : cases) {
        const LogCapture log;
        Host host;
        host.work([] {});
        const test_support::RecordingListener thrower(host.calls, "event", {77}, [&](const auto&) {
            if (each.throwsException) throw std::runtime_error("no");
            throw 7;
        });
        KrSim::KrSimEvent event(77);
        event.setDelay(-1.0);
        KrSim::KrEventDispatcher::sendEventLocally(event);
        EXPECT_FALSE(host.application->update());
        EXPECT_FALSE(host.context.isRunning());
        KrSim::KrEventDispatcher::sendEventLocally(event);
        EXPECT_EQ(host.application->run(), 1);
        auto errors = log.lines();
        std::erase_if(errors, [](const auto& line) { return line[0] != '2'; });
        EXPECT_THAT(errors, ElementsAre(each.stop, each.stop, each.run));
        EXPECT_EQ(host.application->run({.frames = 1}), 0);  // and it may go on
    }
}

TEST(Application, EndsInItsOwnFrame) {
    const LogCapture log;
    Host host;
    auto& application = *host.application;
    host.application->getContext().executeLater([&] { host.application.reset(); });
    EXPECT_TRUE(application.update());
    EXPECT_FALSE(host.context.isValid());
}

TEST(Application, RunsAfterAnotherAndOnAnotherThread) {
    for (const bool onThread : {false, true, false}) {
        std::vector<std::string> calls;
        const auto life = [&] {
            Host host;
            host.work([&] {
                calls.push_back(host.context.isApplicationThread() ? "mine" : "foreign");
                host.application->sendExitApplicationRequest(KrApplication::eExitRequestMode::kAll);
            });
            EXPECT_EQ(host.application->run(), 0);
        };
        if (onThread) {
            std::thread(life).join();
        } else {
            life();
        }
        EXPECT_THAT(calls, ElementsAre("mine"));
    }
}

}  // namespace application_frame_test
