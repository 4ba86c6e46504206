#include "kr/events/event_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_id_list.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/event_manager_internal.h"
#include "kr/events/framework_event_names.h"
#include "kr/events/invalid_event_manager.h"
#include "kr/events/sim_event.h"
#include "kr/platform/assert.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/in_process_event_channel.h"
#include "tests/support/log_capture.h"

namespace event_manager_test {

using KrSim::EventData;
using KrSim::EventId;
using KrSim::EventIDList;
using KrSim::EventListener;
using KrSim::EventManager;
using KrSim::EventManagerImplementation;
using KrSim::EventManagerInternal;
using KrSim::KrEventDispatcher;
using testing::ElementsAre;

EventData payload(int value) {
    EventData data;
    data << value;
    return data;
}

class EventManagerTest : public testing::Test {
protected:
    /// Writes the name and the int that the payload begins with.
    EventListener listen(
        const std::string& name, std::function<void()> action = [] {}) {
        return manager->registerListener(id, [this, name, action = std::move(action)](const EventData& data) {
            int value = -1;
            data >> value;
            calls.push_back(name + std::to_string(value));
            action();
        });
    }
    void send(int value) { manager->sendEvent(id, payload(value)); }

    const test_support::DispatcherScope scope;
    std::vector<std::string> calls;
    std::unique_ptr<EventManagerImplementation> manager = std::make_unique<EventManagerImplementation>();
    EventManagerInternal internal{manager.get()};
    const EventId id = EventManager::createEventId("Test");
};

TEST_F(EventManagerTest, GivesUserEventsAPrefixThatFrameworkEventsLack) {
    for (const char* name : {"Stop", ""}) {
        const EventId user = EventManager::createEventId(name);
        EXPECT_EQ(EventIDList::instance().getName(user), std::string("User Event: ") + name);
        EXPECT_EQ(EventManagerInternal::createInternalEventId(std::string("User Event: ") + name), user);
    }
    EXPECT_EQ(EventIDList::instance().getName(EventManagerInternal::createInternalEventId(77)), "");
}

TEST_F(EventManagerTest, AssertsThatAFrameworkEventHasAName) {
    static std::string message;
    const auto previous = Kr::setAssertionHandler([](const Kr::AssertionFailure& each) { message = each.message; });
    EXPECT_EQ(EventManagerInternal::createInternalEventId(""), EventId());
    Kr::setAssertionHandler(previous);
    EXPECT_EQ(message, "Trying to create an event ID with an empty name.\n");
    EXPECT_FALSE(EventIDList::instance().existLocally(""));
}

TEST_F(EventManagerTest, SendsLikeTheDispatcherOperationOfTheSameName) {
    using Internal = EventManagerInternal;
    struct Case {
        std::function<void(Internal&, const EventId&, const EventData&)> send;
        /// Callbacks here, then events at the other application: after the send, after the next frame.
        std::vector<std::size_t> counts;
    };
    const Case cases[] = {{&Internal::sendEvent, {0, 0, 1, 1}},
                          {&Internal::sendEventLocally, {0, 0, 1, 0}},
                          {&Internal::sendEventLocallyImmediately, {1, 0, 1, 0}},
                          {&Internal::sendEventLocallyAndRemotelyImmediately, {1, 1, 1, 1}},
                          {&Internal::sendEventRemotely, {0, 0, 0, 1}},
                          {&Internal::sendEventRemotelyImmediately, {0, 1, 0, 1}}};
    const auto [here, there] = test_support::InProcessEventChannel::makePair();
    KrEventDispatcher::preUpdate();
    EventIDList::instance().cleanup();  // no names are published
    KrEventDispatcher::setSharedEventChannel(here);
    KrEventDispatcher::enableExternalControl(true);
    const auto listener = listen("a");
    for (const Case& each : cases) {
        SCOPED_TRACE(&each - cases);
        calls.clear();
        std::vector<KrSim::KrSimEvent> arrived;
        std::vector<std::size_t> counts;
        const auto count = [&, &other = there] {
            other->receiveEvents(arrived);
            counts.insert(counts.end(), {calls.size(), arrived.size()});
        };
        each.send(internal, id, payload(5));
        count();
        KrEventDispatcher::preUpdate();
        KrEventDispatcher::postUpdate();
        count();
        EXPECT_EQ(counts, each.counts);
        EXPECT_THAT(calls, testing::Each("a5"));
        for (const auto& event : arrived)
            EXPECT_EQ(event.read<int>(), 5);
    }
}

TEST_F(EventManagerTest, CallsInOrderOfRegistrationEachFromTheStartOfThePayload) {
    const auto first = listen("a");
    auto second = listen("b");
    const auto copy = second;
    second.unregister();
    std::vector<std::size_t> sizes;
    const auto third =
        manager->registerListener(id, [&](const EventData& data) { sizes.push_back(data.data().size()); });
    const test_support::LogCapture log;  // of reads from an empty payload
    send(1);
    EXPECT_TRUE(manager->sendEvent(id, EventData()));
    EXPECT_THAT(calls, ElementsAre("a1", "b1", "a-1", "b-1"));
    EXPECT_THAT(sizes, ElementsAre(4U, 0U));
}

TEST_F(EventManagerTest, PassesOverAListenerThatAnEarlierOneUnregistered) {
    EventListener second;
    EventListener third;
    const auto first = listen("a", [&] { third.unregister(); });
    second = listen("b", [&] { second.unregister(); });
    third = listen("c");
    const auto last = listen("d");
    send(1);
    send(2);
    EXPECT_THAT(calls, ElementsAre("a1", "b1", "d1", "a2", "d2"));
}

// Deliveries share the memory of payloads: an inner one must not show its bytes to the rest of the outer one.
TEST_F(EventManagerTest, KeepsThePayloadOfAnOuterDelivery) {
    const auto first = listen("a", [&] {
        if (calls.size() == 1) internal.sendEventLocallyImmediately(id, payload(2));
    });
    const auto second = listen("b");
    internal.sendEventLocallyImmediately(id, payload(1));
    EXPECT_THAT(calls, ElementsAre("a1", "a2", "b2", "b1"));
}

TEST_F(EventManagerTest, GoesOnAfterAListenerThatThrows) {
    const auto standard = listen("a", [] { throw std::runtime_error("broken"); });
    const auto other = listen("b", [] { throw 5; });
    const auto empty = manager->registerListener(id, nullptr);
    const auto last = listen("c");
    const test_support::LogCapture log;
    send(1);
    EXPECT_THAT(calls, ElementsAre("a1", "b1", "c1"));
    EXPECT_THAT(log.lines(),
                ElementsAre("3 EventManager: Exception thrown when processing event 'User Event: Test': broken.\n",
                            "3 EventManager: Unhandled exception thrown when processing event 'User Event: Test'.\n",
                            "3 EventManager: Exception thrown when processing event 'User Event: Test': "
                            "bad_function_call.\n"));
}

// Its place at the dispatcher tells whether the manager stayed subscribed: a new subscription goes to the end.
TEST_F(EventManagerTest, UnsubscribesWithTheFirstDeliveryAfterTheLastHandle) {
    for (const bool isDelivered : {false, true}) {
        listen("old").unregister();
        if (isDelivered) send(0);
        const test_support::RecordingListener between(calls, "between", {id._getNumber()});
        const auto listener = listen("new");
        calls.clear();
        send(1);
        EXPECT_EQ(calls.at(isDelivered ? 1 : 0), "new1");
    }
}

// An event may end the application that it belongs to.
TEST_F(EventManagerTest, MayBeDestroyedByACallback) {
    const auto first = listen("a", [&] { manager.reset(); });
    const auto second = listen("b");
    send(1);
    EXPECT_THAT(calls, ElementsAre("a1"));
}

// What a callback owns must not die while it runs, but with the delivery at the latest, also when a registration has
// given the event another list meanwhile.
TEST_F(EventManagerTest, DestroysACallbackThatNobodyHolds) {
    for (const bool isReplaced : {false, true}) {
        auto token = std::make_shared<int>(5);
        const std::weak_ptr<int> living = token;
        EventListener added;
        EventListener own = listen("a", [&, isReplaced, token = std::move(token)] {
            if (isReplaced) added = listen("b");
            own.unregister();
            EXPECT_EQ(*token, 5);
            EXPECT_FALSE(living.expired());
        });
        send(1);
        EXPECT_TRUE(living.expired()) << isReplaced;
    }
    auto token = std::make_shared<int>(5);
    const std::weak_ptr<int> living = token;
    listen("a", [token = std::move(token)] {}).unregister();
    EXPECT_TRUE(living.expired());
}

TEST_F(EventManagerTest, GivesHandlesThatAListEndsUnlessSomebodyElseHoldsThem) {
    auto kept = listen("kept");
    KrSim::EventListenerList list;
    // What ends with a handle may change the list.
    const auto onEnd = [&](void*) {
        list.unregister();
        list << listen("late");
    };
    list << listen("first", [token = std::shared_ptr<void>(&list, onEnd)] {}) << listen("second") << kept;
    send(1);
    list.unregister();
    EXPECT_EQ(list.size(), 1U);
    send(2);
    kept.unregister();
    list = {};
    send(3);
    EXPECT_THAT(calls, ElementsAre("kept1", "first1", "second1", "kept2", "late2"));
}

TEST_F(EventManagerTest, PublishesTheNamesWhenAnApplicationJoins) {
    const auto [here, there] = test_support::InProcessEventChannel::makePair();
    KrEventDispatcher::setSharedEventChannel(here);
    const auto publish = [&other = there] {
        KrEventDispatcher::postUpdate();
        std::vector<KrSim::KrSimEvent> arrived;
        other->receiveEvents(arrived);
        std::string payloads;
        for (const auto& event : arrived)
            payloads.append(event.constData(), event.constData() + event.bytes());
        return payloads;
    };
    while (!publish().empty()) {
    }
    internal.sendEventLocally(EventManagerInternal::createInternalEventId(KrSim::kNewNetworkApplicationAddedEventName),
                              EventData());
    EXPECT_THAT(publish(), testing::HasSubstr("User Event: Test"));
}

TEST_F(EventManagerTest, AnswersWithoutAManager) {
    const test_support::LogCapture log;
    KrSim::InvalidEventManager invalid;
    EXPECT_TRUE(invalid.registerListener(id, [](const EventData&) {}).isEmpty());
    EXPECT_FALSE(invalid.sendEvent(id, EventData()));

    EventManagerInternal facade(&invalid);
    EXPECT_TRUE(facade.registerListener(id, [](const EventData&) {}).isEmpty());
    EXPECT_FALSE(facade.sendEvent(id, EventData()));
    facade.sendEventLocally(id, EventData());
    EXPECT_THAT(log.lines(),
                ElementsAre("2 EventManager: the event manager is not in the application, a listener for 'User Event: "
                            "Test' cannot be registered.\n",
                            "6 EventManager: the event manager is not in the application, the event 'User Event: Test' "
                            "cannot be sent.\n",
                            "2 EventManagerInternal: created with an invalid EventManager object\n"));
}

}  // namespace event_manager_test
