// Which queue an event waits in, which thread owns that, and what ends with an application or a thread.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kr/events/errors/error_events.h"
#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_listener.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/event_manager_internal.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/in_process_event_channel.h"
#include "tests/support/log_capture.h"
#include "tests/support/other_thread.h"

namespace application_queues_test {

using KrSim::EventData;
using KrSim::EventId;
using KrSim::EventManagerImplementation;
using KrSim::KrEventDispatcher;
using KrSim::KrSimEvent;
using test_support::OtherThread;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kTick = 7;

/// The event manager of an application, with a listener that writes "<name> <number>" and its thread.
class Application {
public:
    explicit Application(std::string name) : _name(std::move(name)) {
        _listener = events.registerListener(EventId::_fromNumber(kTick), [this](const EventData& data) {
            int number = -1;
            if (!data.data().empty()) data >> number;
            heard.push_back(_name + " " + std::to_string(number));
            threads.push_back(std::this_thread::get_id());
        });
    }
    void send(int number) {
        EventData data;
        data << number;
        events.sendEventLocally(EventId::_fromNumber(kTick), data);
    }
    void frame() {
        const EventManagerImplementation::Running running(events);
        KrEventDispatcher::preUpdate();
    }

    EventManagerImplementation events{EventManagerImplementation::eQueue::kOwn};
    std::vector<std::string> heard;
    std::vector<std::thread::id> threads;

private:
    std::string _name;
    KrSim::EventListener _listener;
};

KrSimEvent tick(int number) {
    return KrSimEvent(kTick, sizeof number, &number);
}

TEST(ApplicationQueues, KeepApplicationsOnTwoThreadsApart) {
    const test_support::DispatcherScope scope;
    OtherThread firstThread;
    OtherThread secondThread;
    OtherThread stranger;
    Application first("first");
    Application second("second");
    firstThread.does([&] { first.frame(); });
    secondThread.does([&] { second.frame(); });
    std::vector<std::string> raw;
    std::vector<std::thread::id> rawThreads;
    const test_support::RecordingListener listener(
        raw, "raw", {kTick}, [&](const KrSimEvent&) { rawThreads.push_back(std::this_thread::get_id()); });

    stranger.does([&] {
        first.send(1);
        second.send(2);
        KrEventDispatcher::sendEventLocally(tick(3));
    });
    firstThread.does([&] { second.send(4); });
    EXPECT_THAT(raw, IsEmpty()) << "all wait for the threads of the applications";
    secondThread.does([&] { second.frame(); });
    firstThread.does([&] { first.frame(); });
    EXPECT_THAT(first.heard, ElementsAre("first 1", "first 3"));
    EXPECT_THAT(first.threads, testing::Each(firstThread.getId()));
    EXPECT_THAT(second.heard, ElementsAre("second 2", "second 4"));
    EXPECT_THAT(second.threads, testing::Each(secondThread.getId()));
    EXPECT_THAT(rawThreads,
                ElementsAre(secondThread.getId(), secondThread.getId(), firstThread.getId(), firstThread.getId()))
        << "listeners at the dispatcher receive every event, on the thread that delivers it";
}

TEST(ApplicationQueues, KeepManyApplicationsOnOneThreadApart) {
    constexpr int kCount = 64;
    const test_support::DispatcherScope scope;
    std::vector<std::unique_ptr<Application>> all;
    for (int i = 0; i < kCount; ++i)
        all.push_back(std::make_unique<Application>(std::to_string(i)));
    OtherThread stranger;
    for (int frame = 0; frame < 3; ++frame) {
        stranger.does([&] {
            for (const auto& each : all)
                each->send(frame);
        });
        for (const auto& each : all) {
            const EventManagerImplementation::Running running(each->events);
            KrEventDispatcher::preUpdate();
            KrEventDispatcher::sendEventLocally(tick(10 + frame));
        }
    }
    for (int i = 0; i < kCount; ++i) {
        const auto name = std::to_string(i);
        EXPECT_THAT(all[static_cast<std::size_t>(i)]->heard,
                    ElementsAre(name + " 0", name + " 10", name + " 1", name + " 11", name + " 2", name + " 12"));
    }
}

TEST(ApplicationQueues, OfAnEndingApplicationLeaveThoseOfOthersAlone) {
    const test_support::DispatcherScope scope;
    OtherThread mine;
    OtherThread stranger;
    Application first("first");
    auto second = std::make_unique<Application>("second");
    mine.does([&] {
        first.frame();
        second->frame();
    });
    bool isHandled = false;
    stranger.begin([&] { isHandled = KrEventDispatcher::sendEventLocallyImmediatelyBlocking(tick(1)); });
    mine.does([&] { second.reset(); });
    while (first.heard.empty())
        mine.does([&] { first.frame(); });
    stranger.awaitEnd();
    EXPECT_TRUE(isHandled) << "the end of the second one drops nothing that waits for the first one";
}

TEST(ApplicationQueues, HandOverWhatNoApplicationSentWhenTheirApplicationDies) {
    const test_support::DispatcherScope scope;
    std::vector<std::string> raw;
    const test_support::RecordingListener listener(raw, "raw", {kTick});
    OtherThread stranger;
    auto first = std::make_unique<Application>("first");
    Application second("second");
    first->frame();
    stranger.does([&] {
        KrEventDispatcher::sendEventLocally(tick(1));
        first->send(2);
    });
    first.reset();
    second.frame();
    EXPECT_THAT(raw, ElementsAre("raw7"));
    EXPECT_THAT(second.heard, ElementsAre("second 1")) << "what was sent through the first one has ended with it";
}

TEST(ApplicationQueues, ReleaseBlockingSendersWithTheMainLoop) {
    const test_support::DispatcherScope scope;
    Application application("a");
    application.frame();
    OtherThread stranger;
    std::optional<bool> result;
    // The send may come before or after the end; after it, the sender delivers for itself.
    stranger.begin([&] { result = KrEventDispatcher::sendEventLocallyImmediatelyBlocking(tick(1)); });
    KrSim::detail::EventManagerAccess::stopRunning(application.events);
    stranger.awaitEnd();
    EXPECT_TRUE(result.has_value());
}

struct FirstSender {
    const char* name;
    void (*send)(Application& application);
};
class ApplicationThread : public testing::TestWithParam<FirstSender> {};

// Also before its first frame an application belongs to the thread that made it, whatever thread was first to send.
TEST_P(ApplicationThread, ReceivesWhatOthersSendBeforeTheFirstFrame) {
    const test_support::DispatcherScope scope;
    OtherThread stranger;
    Application application("a");
    stranger.does([&] { GetParam().send(application); });
    EXPECT_THAT(application.heard, IsEmpty());
    application.send(2);
    ASSERT_EQ(application.heard.size(), 2U) << "the own send is delivered before it returns, after what waited";
    EXPECT_EQ(application.heard.back(), "a 2");
    EXPECT_THAT(application.threads, testing::Each(std::this_thread::get_id()));
}

const FirstSender kFirstSenders[] = {
    {"ThroughTheApplication", [](Application& application) { application.send(1); }},
    {"ThroughNone", [](Application&) { KrEventDispatcher::sendEventLocally(tick(1)); }},
    {"AMessageOfTheLog",
     [](Application& application) {
         KrSim::detail::EventManagerAccess::publish(application.events, EventId::_fromNumber(kTick), EventData());
     }},
};
INSTANTIATE_TEST_SUITE_P(Sent, ApplicationThread, testing::ValuesIn(kFirstSenders),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(ApplicationQueues, GoBackToTheThreadThatMadeTheApplication) {
    const test_support::DispatcherScope scope;
    Application application("a");
    std::thread([&] { application.frame(); }).join();
    application.send(1);
    EXPECT_THAT(application.heard, ElementsAre("a 1")) << "the thread that ran it has ended";
}

TEST(ApplicationQueues, AreServedWithTheCommonOneWhileTheirApplicationDoesNotRun) {
    const test_support::DispatcherScope scope;
    OtherThread stranger;
    Application application("a");
    {
        const EventManagerImplementation::Running running(application.events);
        KrSimEvent delayed = tick(1);
        delayed.setDelay(-1.0);
        KrEventDispatcher::sendEventLocally(delayed);
    }
    KrSim::detail::EventManagerAccess::stopRunning(application.events);
    stranger.does([&] { application.send(2); });
    KrEventDispatcher::preUpdate();
    EXPECT_THAT(application.heard, ElementsAre("a 1", "a 2"));
    stranger.does([&] { application.send(3); });
    KrEventDispatcher::sendEventLocally(KrSimEvent(1));
    EXPECT_THAT(application.heard, ElementsAre("a 1", "a 2", "a 3"));
}

// The thread of an application that does not run may never process events again, while others send and log.
TEST(ApplicationQueues, WarnOnceOfTenThousandEventsAndDropLogMessagesWhileTheirApplicationDoesNotRun) {
    const test_support::DispatcherScope scope;
    const test_support::LogCapture log;
    OtherThread stranger;
    Application application("a");
    int messages = 0;
    const auto listener =
        application.events.registerListener(KrSim::kErrorMessageEvent, [&](const EventData&) { ++messages; });
    const auto logOnStranger = [&](int count) {
        stranger.does([&, count] {
            for (int i = 0; i < count; ++i)
                KrSim::detail::EventManagerAccess::publish(application.events, KrSim::kErrorMessageEvent, EventData());
        });
    };
    logOnStranger(10'000);
    EXPECT_THAT(log.lines(), IsEmpty());
    logOnStranger(3);
    stranger.does([&] { application.send(1); });
    EXPECT_THAT(log.lines(), ElementsAre(testing::ContainsRegex(" 10000 events wait for application [0-9]+ of ")));
    application.send(2);
    EXPECT_EQ(messages, 10'000);
    EXPECT_THAT(application.heard, ElementsAre("a 1", "a 2"));
    logOnStranger(1);
    application.send(3);
    EXPECT_EQ(messages, 10'001);
    EXPECT_EQ(log.lines().size(), 1U) << "counted from the last processing on";
}

TEST(ApplicationQueues, TakeOverWhatWaitsForNoApplication) {
    const test_support::DispatcherScope scope;
    OtherThread owner;
    owner.does([] { KrEventDispatcher::preUpdate(); });
    Application application("a");
    KrEventDispatcher::sendEventLocally(tick(1));
    KrSimEvent delayed = tick(2);
    delayed.setDelay(-1.0);
    KrEventDispatcher::sendEventLocally(delayed);
    EXPECT_THAT(application.heard, IsEmpty()) << "another thread owns the common queue";
    application.frame();
    EXPECT_THAT(application.heard, ElementsAre("a 2", "a 1"));
}

TEST(ApplicationQueues, BringEventsOfOtherProcessesToEachApplication) {
    const test_support::DispatcherScope scope;
    const auto [ours, theirs] = test_support::InProcessEventChannel::makePair();
    OtherThread firstThread;
    Application first("first");
    Application second("second");
    firstThread.does([&] { first.frame(); });
    second.frame();
    KrEventDispatcher::setSharedEventChannel(ours);
    theirs->sendEvent(tick(1));
    second.frame();
    EXPECT_THAT(second.heard, IsEmpty()) << "the application that has been running for longest receives";
    firstThread.does([&] { first.frame(); });
    second.frame();
    EXPECT_THAT(first.heard, ElementsAre("first 1"));
    EXPECT_THAT(second.heard, ElementsAre("second 1"));
    EXPECT_THAT(second.threads, ElementsAre(std::this_thread::get_id()));
}

// An immediate send may be inside a callback on another thread when the manager dies.
TEST(ApplicationQueues, EndWhenNoOtherThreadIsInsideACallback) {
    const test_support::DispatcherScope scope;
    auto manager = std::make_unique<EventManagerImplementation>(EventManagerImplementation::eQueue::kOwn);
    const auto id = EventId::_fromNumber(kTick);
    std::latch inside(1);
    std::atomic<bool> mayLeave{false};
    std::atomic<bool> hasLeft{false};
    auto listener = manager->registerListener(id, [&](const EventData&) {
        inside.count_down();
        while (!mayLeave)
            std::this_thread::yield();
        hasLeft = true;
    });
    OtherThread sender;
    OtherThread releaser;
    sender.begin([&] { manager->sendEventLocallyImmediately(id, EventData()); });
    inside.wait();
    releaser.begin([&] { mayLeave = true; });
    KrSim::detail::EventManagerAccess::beginEnd(*manager);
    EXPECT_TRUE(hasLeft);
    sender.awaitEnd();
    sender.does([] { KrEventDispatcher::sendEventLocallyImmediately(tick(1)); });
    manager.reset();
}

// Domains of managers are used again; handles on callbacks of an earlier manager must leave the later one alone.
TEST(ApplicationQueues, ForgetHandlesOfEarlierManagers) {
    const test_support::DispatcherScope scope;
    int calls = 0;
    const auto id = EventId::_fromNumber(kTick);
    std::optional<EventManagerImplementation> manager(std::in_place);
    auto early = manager->registerListener(id, [](const EventData&) { FAIL(); });
    manager.emplace();
    const auto late = manager->registerListener(id, [&](const EventData&) { ++calls; });
    early.unregister();
    manager->sendEventLocallyImmediately(id, EventData());
    EXPECT_EQ(calls, 1);
}

TEST(CommonQueue, IsNotOwnedByAThreadThatHasEnded) {
    const test_support::DispatcherScope scope;
    std::vector<std::string> log;
    const test_support::RecordingListener listener(log, "a", {kTick});
    std::thread([] { KrEventDispatcher::sendEventLocally(tick(1)); }).join();
    EXPECT_TRUE(KrEventDispatcher::sendEventLocallyImmediatelyBlocking(tick(2))) << "there is no owner to wait for";
    KrEventDispatcher::sendEventLocally(tick(3));
    EXPECT_THAT(log, ElementsAre("a7", "a7", "a7"));
}

TEST(CommonQueue, ReleasesBlockingSendersWhenItsOwnerEnds) {
    const test_support::DispatcherScope scope;
    auto owner = std::make_unique<OtherThread>();
    owner->does([] { KrEventDispatcher::preUpdate(); });
    OtherThread sender;
    std::optional<bool> result;
    sender.begin([&] { result = KrEventDispatcher::sendEventLocallyImmediatelyBlocking(tick(1)); });
    owner.reset();
    sender.awaitEnd();
    EXPECT_TRUE(result.has_value());
}

TEST(CommonQueue, BelongsToTheFirstThreadThatProcessesIt) {
    const test_support::DispatcherScope scope;
    std::vector<std::thread::id> calledOn;
    std::vector<std::string> log;
    const test_support::RecordingListener listener(
        log, "a", {kTick}, [&](const KrSimEvent&) { calledOn.push_back(std::this_thread::get_id()); });
    OtherThread first;
    first.does([] { KrEventDispatcher::sendEventLocally(tick(1)); });
    KrEventDispatcher::sendEventLocally(tick(2));
    EXPECT_EQ(calledOn.size(), 1U);
    first.does([] { KrEventDispatcher::sendEventLocally(tick(3)); });
    EXPECT_THAT(calledOn, ElementsAre(first.getId(), first.getId(), first.getId()));
}

}  // namespace application_queues_test
