// What threads and applications beside the one that runs must not change.

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/i_application_listener.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/events/errors/error_handler.h"
#include "kr/events/errors/error_manager.h"
#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/sim_event.h"
#include "kr/extension/extension.h"
#include "kr/extension/object.h"
#include "kr/extension/typed_field.h"
#include "tests/support/case_name.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/in_process_event_channel.h"
#include "tests/support/log_capture.h"
#include "tests/support/other_thread.h"
#include "tests/support/recording_module.h"
#include "tests/support/stepping_module.h"
#include "tests/support/stress.h"

namespace several_applications_test {

using KrSim::KrApplication;
using KrSim::KrEventDispatcher;
using KrSim::KrExtension;
using test_support::OtherThread;
using testing::ElementsAre;

using ApplicationPtr = Kr::KrSmartPtr<KrApplication>;

ApplicationPtr makeApplication() {
    auto application = KrApplication::create();
    application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    application->setApplicationMode(KrSim::eApplicationMode::kSimulating);
    return application;
}

/// A mass whose spring force returns through a queued connection, in ten steps a frame.
class Mass final : public KrSim::IExtension {
public:
    explicit Mass(KrExtension* proxy) : IExtension(proxy, 1) {}

    void step(double seconds) {
        for (int i = 0; i < 10; ++i) {
            _speed += (1.0 - 400.0 * spring) * seconds / 10;
            height = height + _speed * seconds / 10;
        }
    }
    KrSim::Input<double> spring{this, "Spring"};
    KrSim::Output<double> height{this, "Height"};

private:
    double _speed{0.0};
};

struct World {
    ApplicationPtr application = makeApplication();
    Kr::KrSmartPtr<KrExtension> extension = Kr::makeSmart<KrExtension>();
    Mass* mass = new Mass(extension.get());
    Kr::KrSimQueuedConnection feedback{mass->height.getField(), mass->spring.getField()};

    World() {
        application->insertModule(test_support::makeSteppingModule<Mass>(&Mass::step));
        mass->height.getField()->setValue(0.5);
        mass->height.getField()->setValue(0.25);
        application->add(extension.get());
    }
    double heightAfterRun() {
        application->run({.frames = 50});
        return mass->height;
    }
};

/// Publishes messages of the log, and prints none.
struct PublishedLog {
    PublishedLog() {
        KrSim::KrErrorHandler::enableConsoleLog(false);
        KrSim::KrErrorHandler::Register();
    }
    ~PublishedLog() {
        KrSim::KrErrorHandler::Unregister();
        KrSim::KrErrorHandler::enableConsoleLog(true);
    }
    PublishedLog(const PublishedLog&) = delete;
    PublishedLog& operator=(const PublishedLog&) = delete;
};

void sendRaw() {
    KrEventDispatcher::sendEventLocally(KrSim::KrSimEvent(99));
}
void logLine() {
    Kr::logMessage(Kr::eLogLevel::kWarn, "first\n");
}

// --- The same values -----------------------------------------------------------------------------------------------

struct FirstThreadCase {
    const char* name;
    double (*heightAfterRun)(OtherThread& other);
};
class Feedback : public testing::TestWithParam<FirstThreadCase> {};

TEST_P(Feedback, IsTheSameWhateverThreadWasFirst) {
    const test_support::DispatcherScope scope;
    const PublishedLog log;
    const double expected = World().heightAfterRun();
    KrSim::detail::DispatcherAccess::resetOwner();
    OtherThread other;
    EXPECT_EQ(GetParam().heightAfterRun(other), expected);
}

const FirstThreadCase kFirstThreads[] = {
    {"ALogLineBeforeTheContent",
     [](OtherThread& other) {
         other.does(&logLine);
         return World().heightAfterRun();
     }},
    {"AnEventBeforeTheContent",
     [](OtherThread& other) {
         other.does(&sendRaw);
         return World().heightAfterRun();
     }},
    {"AnEventOfAThreadThatHasEnded",
     [](OtherThread&) {
         std::thread(&sendRaw).join();
         return World().heightAfterRun();
     }},
    {"ALogLineBeforeTheRun",
     [](OtherThread& other) {
         World world;
         other.does(&logLine);
         return world.heightAfterRun();
     }},
    {"AnEventThroughTheApplicationBeforeTheRun",
     [](OtherThread& other) {
         World world;
         other.does([&] { world.application->getInternals().events.sendEvent(KrSim::EventId(), {}); });
         return world.heightAfterRun();
     }},
    {"AnotherThreadRunsIt",
     [](OtherThread& other) {
         World world;
         double height = 0.0;
         other.does([&] { height = world.heightAfterRun(); });
         return height;
     }},
    {"AnotherThreadMadeIt",
     [](OtherThread& other) {
         std::unique_ptr<World> world;
         other.does([&] { world = std::make_unique<World>(); });
         return world->heightAfterRun();
     }},
    {"AnotherApplicationRunsElsewhere",
     [](OtherThread& other) {
         const auto application = makeApplication();
         other.does([&] { application->update(); });
         const double height = World().heightAfterRun();
         other.does([&] { application->update(); });
         return height;
     }},
};
INSTANTIATE_TEST_SUITE_P(After, Feedback, testing::ValuesIn(kFirstThreads), test_support::caseName);

// --- Several applications ------------------------------------------------------------------------------------------

TEST(SeveralApplications, SteppedInTurnHaveTheirOwnFeedback) {
    const test_support::DispatcherScope scope;
    std::vector<std::unique_ptr<World>> worlds;
    for (int i = 0; i < 64; ++i)
        worlds.push_back(std::make_unique<World>());
    for (int frame = 0; frame < 50; ++frame) {
        for (const auto& each : worlds)
            each->application->update();
    }
    const double expected = World().heightAfterRun();
    for (const auto& each : worlds)
        EXPECT_EQ(each->mass->height.get(), expected);
}

class MessageRecorder final : public KrSim::ErrorManager::Listener {
public:
    void onMessage(int, Kr::eLogLevel, const std::string& message, const std::string&, std::int64_t) override {
        messages.push_back(message);
    }
    std::vector<std::string> messages;
};

TEST(SeveralApplications, PublishMessagesUntilTheLastOneEnds) {
    const test_support::DispatcherScope scope;
    const PublishedLog log;
    const auto older = makeApplication();
    MessageRecorder recorder;
    older->getContext().getErrorManager().registerListener(&recorder);
    {
        const auto younger = makeApplication();
        Kr::logMessage(Kr::eLogLevel::kWarn, "both\n");
    }
    Kr::logMessage(Kr::eLogLevel::kWarn, "older\n");
    std::thread([&] { older->update(); }).join();
    Kr::logMessage(Kr::eLogLevel::kWarn, "older again\n");
    EXPECT_THAT(recorder.messages, ElementsAre("WARN - both\n", "WARN - older\n", "WARN - older again\n"));
    older->getContext().getErrorManager().unregisterListener(&recorder);
}

// --- Exit ----------------------------------------------------------------------------------------------------------

TEST(LateExit, LeavesTheNextApplicationAlone) {
    const test_support::DispatcherScope scope;
    const auto [ours, theirs] = test_support::InProcessEventChannel::makePair();
    const auto stop = [] { return KrSim::KrSimEvent(KrApplication::kStopApplicationEvent._getNumber()); };
    OtherThread other;
    other.does([] { KrEventDispatcher::preUpdate(); });  // owns the common queue
    const auto next = makeApplication();
    {
        const auto before = makeApplication();
        before->update();
        before->sendExitApplicationRequest(KrApplication::eExitRequestMode::kAll);
        EXPECT_FALSE(before->update());
    }
    KrEventDispatcher::sendEventLocally(stop());
    KrEventDispatcher::setSharedEventChannel(ours);
    theirs->sendEvent(stop());
    int frames = 0;
    while (frames < 3 && next->update())
        ++frames;
    EXPECT_EQ(frames, 3);
    theirs->sendEvent(stop());
    EXPECT_FALSE(next->update()) << "one that comes while it runs is for it";
}

TEST(Exit, OfAllReachesApplicationsOnOtherThreads) {
    const test_support::DispatcherScope scope;
    OtherThread other;
    const auto theirs = makeApplication();
    const auto ours = makeApplication();
    other.does([&] { theirs->update(); });
    ours->update();
    ours->sendExitApplicationRequest(KrApplication::eExitRequestMode::kAll);
    bool goesOn = true;
    other.does([&] { goesOn = theirs->update(); });
    EXPECT_FALSE(goesOn);
    EXPECT_FALSE(ours->update());
}

TEST(Exit, EndsOneLoopOfUpdates) {
    const test_support::DispatcherScope scope;
    const auto application = makeApplication();
    application->update();
    application->sendExitApplicationRequest();
    EXPECT_FALSE(application->update());
    EXPECT_TRUE(application->update()) << "as run goes on after an exit";
}

// --- A frame inside a frame ----------------------------------------------------------------------------------------

struct NestedCase {
    const char* name;
    bool exits;
};
class NestedUpdate : public testing::TestWithParam<NestedCase> {};

TEST_P(NestedUpdate, LeavesTheOuterFrameUnderWay) {
    const test_support::DispatcherScope scope;
    std::vector<std::string> calls;
    const auto application = makeApplication();
    const auto module = test_support::makeModule("M", calls);
    const auto context = application->getContext();
    bool isNested = false;
    std::vector<bool> states;
    test_support::recording(module).onEachCall = [&](const std::string& callback) {
        if (callback != "onUpdate" || isNested) return;
        isNested = true;
        if (GetParam().exits) application->requestExitFromSignal();
        application->update();
        states = {context.isRunning(), context.isUpdatingModules(), context.isBusy()};
        application->executeBetweenFrames([&] { states.push_back(!context.isUpdatingModules()); });
        application->add(Kr::makeSmart<KrExtension>().get());
        states.push_back(application->getExtensionCount() == 0);
    };
    application->insertModule(module);
    EXPECT_EQ(application->update(), !GetParam().exits);
    EXPECT_THAT(states, ElementsAre(true, true, true, true, true));
    EXPECT_EQ(application->getExtensionCount(), 1U);
    EXPECT_EQ(context.isRunning(), !GetParam().exits);
}

const NestedCase kNested[] = {{"Running", false}, {"Exiting", true}};
INSTANTIATE_TEST_SUITE_P(All, NestedUpdate, testing::ValuesIn(kNested), test_support::caseName);

// --- Changes from any thread ---------------------------------------------------------------------------------------

TEST(Changes, OfAWorkerKeepTheirOrder) {
    const test_support::DispatcherScope scope;
    const auto application = makeApplication();
    const auto extension = Kr::makeSmart<KrExtension>();
    application->update();
    std::thread([&] {
        EXPECT_TRUE(application->add(extension.get()));
        EXPECT_TRUE(application->remove(extension.get()));
    }).join();
    application->update();
    EXPECT_EQ(application->getExtensionCount(), 0U);
    EXPECT_EQ(extension->getOwner(), nullptr);
}

// A function that asks again waits for the next time, so that it ends.
TEST(Changes, BetweenFramesThatAskForMoreWaitForTheNextFrame) {
    const test_support::DispatcherScope scope;
    const auto application = makeApplication();
    int runs = 0;
    std::function<void()> again = [&] {
        ++runs;
        application->executeBetweenFrames(again);
    };
    application->executeBetweenFrames(again);
    EXPECT_EQ(runs, 1) << "now, without a main loop";
    application->update();
    EXPECT_EQ(runs, 3) << "before the frame and after it";
}

TEST(Changes, OfManyThreadsAreMadeOneAtATimeWithoutAMainLoop) {
    constexpr int kRounds = test_support::stressRounds(2'000, 500);
    const test_support::DispatcherScope scope;
    const auto application = makeApplication();
    int between = 0;  // plain: the gate keeps the threads apart
    test_support::runStress(
        kRounds,
        [&](int, int round) {
            const auto extension = Kr::makeSmart<KrExtension>();
            application->executeBetweenFrames([&between] { ++between; });
            application->add(extension.get());
            if (round % 2 == 0) application->remove(extension.get());
        },
        [] {});
    EXPECT_EQ(between, test_support::kStressThreads * kRounds);
    EXPECT_EQ(application->getExtensionCount(), static_cast<std::size_t>(test_support::kStressThreads * kRounds / 2));
}

/// Neither the beginning nor the end of main loops lets a change run beside the application's thread.
TEST(Changes, OfManyThreadsKeepOrderWhileMainLoopsBeginAndEnd) {
    constexpr int kRounds = test_support::stressRounds(2'000, 300);
    const test_support::DispatcherScope scope;
    const auto application = makeApplication();
    int between = 0;
    unsigned runs = 0;  // the first and every third have no frame
    test_support::runStress(
        kRounds,
        [&](int, int round) {
            const auto extension = Kr::makeSmart<KrExtension>();
            application->add(extension.get());
            application->executeBetweenFrames([&between] { ++between; });
            if (round % 2 == 0) application->remove(extension.get());
        },
        [&] { application->run({.frames = runs++ % 3}); });
    EXPECT_EQ(between, test_support::kStressThreads * kRounds);
    EXPECT_EQ(application->getExtensionCount(), static_cast<std::size_t>(test_support::kStressThreads * kRounds / 2));
}

TEST(Changes, MayBeRequestedWhileTheObjectIsAddedAndRemoved) {
    constexpr int kRounds = test_support::stressRounds(2'000, 300);
    const test_support::DispatcherScope scope;
    const auto application = makeApplication();
    const auto object = Kr::makeSmart<KrSim::KrObject>();
    const auto extension = Kr::makeSmart<KrExtension>();
    test_support::runStress(
        kRounds, [&](int, int) { object->remove(extension.get()); },
        [&] {
            application->add(object.get());
            application->update();
            application->remove(object.get());
        });
    EXPECT_EQ(application->getExtensionCount(), 0U);
    EXPECT_EQ(object->getOwner(), nullptr);
}

/// Counts messages that come on another thread than the one that made it.
class ThreadWatch final : public KrSim::ErrorManager::Listener {
public:
    void onMessage(int, Kr::eLogLevel, const std::string&, const std::string&, std::int64_t) override {
        if (std::this_thread::get_id() != _home) ++onOthers;
    }
    std::atomic<int> onOthers{0};

private:
    const std::thread::id _home{std::this_thread::get_id()};
};

/// Another thread may be publishing a message while the application begins or ends.
TEST(Logging, ReachesListenersOnTheThreadOfTheirApplicationOnly) {
    constexpr int kRounds = test_support::stressRounds(3'000, 1'000);
    const test_support::DispatcherScope scope;
    const PublishedLog log;
    ThreadWatch watch;
    test_support::runStress(
        kRounds, [](int thread, int round) { Kr::logMessage(Kr::eLogLevel::kWarn, "%d of %d\n", round, thread); },
        [&] {
            const auto application = makeApplication();
            application->getContext().getErrorManager().registerListener(&watch);
            application->update();
            application->getContext().getErrorManager().unregisterListener(&watch);
        });
    EXPECT_EQ(watch.onOthers, 0);
}

/// Threads that only log, while applications with feedback are made, run and destroyed.
TEST(Logging, FromOtherThreadsTouchesNoApplication) {
    constexpr int kRounds = test_support::stressRounds(3'000, 500);
    const test_support::DispatcherScope scope;
    const PublishedLog log;
    const double expected = World().heightAfterRun();
    std::atomic<int> other{0};
    test_support::runStress(
        kRounds, [](int thread, int round) { Kr::logMessage(Kr::eLogLevel::kWarn, "%d of %d\n", round, thread); },
        [&] {
            if (World().heightAfterRun() != expected) ++other;
        });
    EXPECT_EQ(other, 0);
}

}  // namespace several_applications_test
