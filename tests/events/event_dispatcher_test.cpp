#include "kr/events/event_dispatcher.h"
#include "kr/events/event_access.h"
#include "kr/platform/manual_clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/dispatcher_scope.h"
#include "tests/support/in_process_event_channel.h"
#include "tests/support/log_capture.h"

namespace event_dispatcher_test {

using KrSim::EventTraffic;
using KrSim::KrEventDispatcher;
using KrSim::KrSimEvent;
using test_support::InProcessEventChannel;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;
using Listener = test_support::RecordingListener;

using Send = void (*)(const KrSimEvent&);

void sendBlocking(const KrSimEvent& event) {
    KrEventDispatcher::sendEventLocallyImmediatelyBlocking(event);
}

/// This thread is the owner, unless a test resets that.
class Dispatcher : public testing::Test {
protected:
    Dispatcher() { KrEventDispatcher::preUpdate(); }

    static void onAnotherThread(const std::function<void()>& work) { std::thread(work).join(); }
    static KrSimEvent delayed(int id, double seconds) {
        KrSimEvent event(id);
        event.setDelay(seconds);
        return event;
    }
    static std::vector<int> received(InProcessEventChannel& channel) {
        std::vector<KrSimEvent> events;
        channel.receiveEvents(events);
        std::vector<int> ids;
        for (const auto& event : events)
            ids.push_back(event.ID());
        return ids;
    }

    Kr::ManualClock clock;
    std::vector<std::string> log;
    test_support::DispatcherScope scope;
};

enum class eTime { kNever, kFrame, kAtOnce };

struct RouteCase {
    const char* name;
    Send send;
    eTime here, there;  ///< a frame is not waited for when the owner sends, unless there is external control
};

class Route : public Dispatcher, public testing::WithParamInterface<RouteCase> {
protected:
    void frame() {
        KrEventDispatcher::preUpdate();
        KrEventDispatcher::postUpdate();
    }
    using Counts = std::pair<std::size_t, std::size_t>;
    /// Events delivered here and those that the other application got, since the last time.
    Counts arrived() { return {std::exchange(log, {}).size(), received(*channels.second).size()}; }
    std::pair<std::shared_ptr<InProcessEventChannel>, std::shared_ptr<InProcessEventChannel>> channels =
        InProcessEventChannel::makePair();
};

TEST_P(Route, DeliversHereAndThereAtItsTime) {
    const auto& [name, send, here, there] = GetParam();
    KrEventDispatcher::setSharedEventChannel(channels.first);
    const Listener listener(log, "a", {1});
    for (const bool isControlled : {false, true}) {
        KrEventDispatcher::enableExternalControl(isControlled);
        const bool waits = here == eTime::kFrame && isControlled;
        send(KrSimEvent(1));
        EXPECT_EQ(arrived(), Counts(here != eTime::kNever && !waits, there == eTime::kAtOnce)) << isControlled;
        frame();
        EXPECT_EQ(arrived(), Counts(waits, there == eTime::kFrame)) << isControlled;
    }
}

TEST_P(Route, WithADelayIsHeldBackOnEveryWay) {
    const auto& [name, send, here, there] = GetParam();
    KrSim::detail::DispatcherAccess::setClock(&clock);
    KrEventDispatcher::setSharedEventChannel(channels.first);
    const Listener listener(log, "a", {1}, [](const KrSimEvent& event) { EXPECT_EQ(event.getDelay(), 0.0); });
    send(delayed(1, 0.5));
    clock.sleep(0.1);
    frame();
    EXPECT_EQ(arrived(), Counts(false, false));
    clock.sleep(0.4);
    KrEventDispatcher::preUpdate();
    EXPECT_EQ(arrived(), Counts(here != eTime::kNever, there != eTime::kNever));
    frame();
    EXPECT_EQ(arrived(), Counts(false, false)) << "once";
}

using D = KrEventDispatcher;
INSTANTIATE_TEST_SUITE_P(
    Operations, Route,
    testing::Values(RouteCase{"Event", &D::sendEvent, eTime::kFrame, eTime::kFrame},
                    RouteCase{"Locally", &D::sendEventLocally, eTime::kFrame, eTime::kNever},
                    RouteCase{"LocallyImmediately", &D::sendEventLocallyImmediately, eTime::kAtOnce, eTime::kNever},
                    RouteCase{"Blocking", &sendBlocking, eTime::kAtOnce, eTime::kNever},
                    RouteCase{"Both", &D::sendEventLocallyAndRemotely, eTime::kFrame, eTime::kFrame},
                    RouteCase{"BothImmediately", &D::sendEventLocallyAndRemotelyImmediately, eTime::kAtOnce,
                              eTime::kAtOnce},
                    RouteCase{"Remotely", &D::sendEventRemotely, eTime::kNever, eTime::kFrame},
                    RouteCase{"RemotelyImmediately", &D::sendEventRemotelyImmediately, eTime::kNever, eTime::kAtOnce}),
    [](const auto& each) { return std::string(each.param.name); });

TEST_F(Dispatcher, EventsOfOtherThreadsWaitForTheOwnersNextProcessing) {
    std::thread::id calledOn;
    const Listener listener(log, "a", {1, 2, 3}, [&](const KrSimEvent&) { calledOn = std::this_thread::get_id(); });
    onAnotherThread([] {
        KrEventDispatcher::sendEventLocally(KrSimEvent(1));
        KrEventDispatcher::sendEventLocally(KrSimEvent(2));
    });
    EXPECT_THAT(log, IsEmpty());
    KrEventDispatcher::sendEventLocally(KrSimEvent(3));
    EXPECT_THAT(log, ElementsAre("a1", "a2", "a3")) << "the owner's own event comes last";
    onAnotherThread([] { KrEventDispatcher::sendEventLocallyImmediately(KrSimEvent(1)); });
    EXPECT_NE(calledOn, std::this_thread::get_id());
}

TEST_F(Dispatcher, AListenerThatSendsWhatItReceivesDoesNotExhaustTheStack) {
    const Listener listener(log, "a", {1}, [](const KrSimEvent& event) { KrEventDispatcher::sendEventLocally(event); });
    KrEventDispatcher::sendEventLocally(KrSimEvent(1));
    const std::size_t once = log.size();
    EXPECT_GT(once, 1u);
    KrEventDispatcher::preUpdate();
    EXPECT_GT(log.size(), once) << "the rest goes on with the next frame";
}

TEST_F(Dispatcher, ListenersAreCalledOnceInTheOrderOfTheirRegistration) {
    Listener a(log, "a", {1, 2, 1});
    const Listener b(log, "b", {2, 1});
    KrEventDispatcher::registerListener(1, nullptr);
    KrEventDispatcher::unregisterListener(1, nullptr);
    KrEventDispatcher::unregisterListener(77, &a);
    KrEventDispatcher::sendEventLocally(KrSimEvent(1));
    KrEventDispatcher::unregisterListener(1, &a);
    KrEventDispatcher::registerListener(1, &a);
    KrEventDispatcher::sendEventLocally(KrSimEvent(1));
    KrEventDispatcher::sendEventLocally(KrSimEvent(2));
    EXPECT_THAT(log, ElementsAre("a1", "b1", "b1", "a1", "a2", "b2"));
}

TEST_F(Dispatcher, AChangeDuringADeliveryCountsFromTheNextOne) {
    Listener b(log, "b", {});
    Listener c(log, "c", {});
    Listener d(log, "d", {});
    const Listener a(log, "a", {1}, [&](const KrSimEvent&) {
        KrEventDispatcher::unregisterListener(1, &b);
        KrEventDispatcher::unregisterListener(1, &c);
        KrEventDispatcher::registerListener(1, &c);
        KrEventDispatcher::registerListener(1, &d);
    });
    for (Listener* each : {&b, &c})
        KrEventDispatcher::registerListener(1, each);
    onAnotherThread([] {
        KrEventDispatcher::sendEventLocally(KrSimEvent(1));
        KrEventDispatcher::sendEventLocally(KrSimEvent(1));
    });
    KrEventDispatcher::preUpdate();
    EXPECT_THAT(log, ElementsAre("a1", "b1", "c1", "a1", "c1", "d1"))
        << "the next one of the same batch, and who came back is at the end";
    log.clear();
    KrEventDispatcher::sendEventLocally(KrSimEvent(1));
    EXPECT_THAT(log, ElementsAre("a1", "d1", "c1"));
}

// Also when it was unregistered before, and when the list that the delivery walks has been replaced meanwhile.
TEST_F(Dispatcher, AListenerThatDiesIsPassedOver) {
    for (const bool isUnregistered : {false, true}) {
        for (const bool isReplaced : {false, true}) {
            auto b = std::make_unique<Listener>(log, "b", std::vector<int>{});
            const Listener a(log, "a", {1}, [&](const KrSimEvent&) {
                if (b && isUnregistered) KrEventDispatcher::unregisterListener(1, b.get());
                for (int i = 0; b && isReplaced && i < 10; ++i)
                    KrEventDispatcher::registerListener(1, std::make_unique<Listener>(log, "x", std::vector{1}).get());
                b.reset();
            });
            KrEventDispatcher::registerListener(1, b.get());
            const Listener c(log, "c", {1});
            log.clear();
            KrEventDispatcher::sendEventLocally(KrSimEvent(1));
            KrEventDispatcher::sendEventLocally(KrSimEvent(1));
            EXPECT_THAT(log, ElementsAre("a1", "c1", "a1", "c1")) << isUnregistered << isReplaced;
        }
    }
}

TEST_F(Dispatcher, FindsTheRightListenersAmongManyNumbers) {
    std::vector<std::unique_ptr<Listener>> listeners;
    for (int id = -500; id < 500; ++id) {
        listeners.push_back(std::make_unique<Listener>(log, "l" + std::to_string(id) + ":", std::vector<int>{id * 64}));
    }
    listeners.erase(listeners.begin(), listeners.begin() + 250);
    for (const int id : {-500, -251, -250, 0, 499})
        KrEventDispatcher::sendEventLocally(KrSimEvent(id * 64));
    EXPECT_THAT(log, ElementsAre("l-250:-16000", "l0:0", "l499:31936"));
}

TEST_F(Dispatcher, TheFirstExceptionContinuesAfterAllDelayedAndQueuedEvents) {
    const Listener a(log, "a", {1, 2, 3, 4}, [](const KrSimEvent& event) { throw event.ID(); });
    const Listener b(log, "b", {1, 4}, [](const KrSimEvent&) { throw std::runtime_error("later"); });
    KrEventDispatcher::sendEventLocally(delayed(1, -1.0));
    KrEventDispatcher::sendEventLocally(delayed(2, -1.0));
    onAnotherThread([] {
        KrEventDispatcher::sendEventLocally(KrSimEvent(3));
        KrEventDispatcher::sendEventLocally(KrSimEvent(4));
    });
    try {
        KrEventDispatcher::preUpdate();
        ADD_FAILURE() << "nothing was thrown";
    } catch (int thrown) {
        EXPECT_EQ(thrown, 1);
    }
    EXPECT_THAT(log, ElementsAre("a1", "b1", "a3", "a4", "b4", "a2"));
    EXPECT_THROW(KrEventDispatcher::sendEventLocally(KrSimEvent(2)), int);
    EXPECT_NO_THROW(KrEventDispatcher::preUpdate()) << "the event is gone";
}

TEST_F(Dispatcher, DueEventsComeInTheOrderOfTheirSendingAndMaySendNewOnes) {
    KrSim::detail::DispatcherAccess::setClock(&clock);
    const Listener a(log, "a", {1, 2, 3, 4, 5}, [](const KrSimEvent& event) {
        if (event.ID() == 1) KrEventDispatcher::sendEventLocally(delayed(4, -1.0));
    });
    KrEventDispatcher::sendEventLocally(delayed(1, 0.3));
    KrEventDispatcher::sendEventLocally(delayed(2, 0.2));
    KrEventDispatcher::sendEventLocally(delayed(3, 5.0));
    KrEventDispatcher::sendEventLocally(delayed(5, 3.0));
    clock.sleep(1.0);
    KrEventDispatcher::preUpdate();
    EXPECT_THAT(log, ElementsAre("a1", "a2"));
    KrEventDispatcher::preUpdate();
    EXPECT_THAT(log, ElementsAre("a1", "a2", "a4"));

    Kr::ManualClock other;
    other.sleep(5000.0);
    KrSim::detail::DispatcherAccess::setClock(&other);
    log.clear();
    for (const double seconds : {1.75, 0.5, 1.5, 0.5}) {
        other.sleep(seconds);
        KrEventDispatcher::preUpdate();
        log.emplace_back("frame");
    }
    EXPECT_THAT(log, ElementsAre("frame", "a5", "frame", "frame", "a3", "frame"))
        << "what was left of the delays survives a new clock";
    KrSim::detail::DispatcherAccess::setClock(nullptr);
}

TEST_F(Dispatcher, EventsOfOtherApplicationsFollowTheQueue) {
    const auto [ours, theirs] = InProcessEventChannel::makePair();
    KrEventDispatcher::setSharedEventChannel(ours);
    std::vector<std::string> senders;
    const Listener a(log, "a", {1, 2}, [&](const KrSimEvent& event) { senders.push_back(event.sender()); });
    theirs->sendEvent(KrSimEvent(2, "other:1", {}));
    onAnotherThread([] { KrEventDispatcher::sendEventLocally(KrSimEvent(1)); });
    KrEventDispatcher::preUpdate();
    EXPECT_THAT(log, ElementsAre("a1", "a2"));
    EXPECT_THAT(senders, ElementsAre(KrSimEvent::me(), "other:1"));
    theirs->sendEvent(KrSimEvent(2));
    KrEventDispatcher::sendEventLocally(KrSimEvent(1));
    EXPECT_THAT(log, ElementsAre("a1", "a2", "a1", "a2")) << "a send of the owner receives too";
}

TEST_F(Dispatcher, TheChannelCountsWhileDebuggingIsOn) {
    const auto [ours, theirs] = InProcessEventChannel::makePair(clock);
    std::vector<KrSimEvent> batch;
    const std::vector<KrSimEvent> events{KrSimEvent(1, "ab", {1, 2, 3}), KrSimEvent(2, "", {}), KrSimEvent(1, "", {})};
    ours->sendEvents(events);
    theirs->receiveEvents(batch);
    EXPECT_EQ(ours->getSentTraffic(1), EventTraffic());
    EXPECT_LT(theirs->getLastReceiveSeconds(), 0.0);

    ours->enableDebugging(true);
    theirs->enableDebugging(true);
    ours->sendEvents(events);
    ours->sendEvent(events[1]);
    const double then = clock.getSeconds();
    theirs->receiveEvents(batch);
    clock.sleep(2.0);
    theirs->receiveEvents(batch);
    EXPECT_EQ(ours->getSentTraffic(1), (EventTraffic{2, 12 + 5 + 12}));
    EXPECT_EQ(theirs->getReceivedTraffic(1), (EventTraffic{2, 12 + 5 + 12}));
    EXPECT_EQ(theirs->getReceivedTraffic(2), (EventTraffic{2, 24}));
    EXPECT_EQ(ours->getReceivedTraffic(2), EventTraffic());
    EXPECT_EQ(theirs->getLastReceiveSeconds(), then) << "a receive that brings nothing leaves no trace";
}

TEST_F(Dispatcher, AThrowingChannelLosesNoNamesAndStopsNoFrame) {
    struct BrokenChannel final : KrSim::SharedEventChannel {
        void _sendEvent(const KrSimEvent&) override {
            if (isBroken) throw std::runtime_error("cable");
            ++sent;
        }
        void _sendEvents(std::span<const KrSimEvent>) override { throw 1; }
        void _receiveEvents(std::vector<KrSimEvent>& batch) override {
            batch.emplace_back(1);
            throw std::runtime_error("cable");
        }
        bool isBroken{true};
        int sent{0};
    };
    const LogCapture messages;
    KrSim::EventIDList::instance().add("Name");
    const auto channel = std::make_shared<BrokenChannel>();
    KrEventDispatcher::setSharedEventChannel(channel);
    const Listener a(log, "a", {1});
    KrEventDispatcher::sendEventRemotely(KrSimEvent(2));
    EXPECT_THAT(log, ElementsAre("a1")) << "what came before the fault is delivered";
    KrEventDispatcher::postUpdate();
    EXPECT_THAT(messages.lines(),
                ElementsAre("3 KrEventDispatcher: fatal error in 'SharedEventChannel' receiveEvents() [cable]\n",
                            "3 KrEventDispatcher: fatal error in 'SharedEventChannel' sendEvents() [cable]\n",
                            "3 KrEventDispatcher: unhandled exception in 'SharedEventChannel' sendEvents()\n"));
    channel->isBroken = false;
    KrEventDispatcher::postUpdate();
    EXPECT_EQ(channel->sent, 1);
}

}  // namespace event_dispatcher_test
