// The rules of a delivery (docs/notification.md), at every place of the library that notifies.

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <vector>

#include "tests/signals/notifying_places.h"

namespace notification_rules_test {

using namespace notifying_places;

struct PlaceName {
    template <class Place>
    static std::string GetName(int) {
        const std::string name = testing::internal::GetTypeName<Place>();
        return name.substr(name.rfind(':') + 1);
    }
};

template <class Place>
class Notification : public testing::Test {
protected:
    Place place;
    int calls = 0;
};

using Places = testing::Types<FieldObservers, PropertyObservers, FieldListeners, BaseSubscribers, ObjectListeners,
                              SorterListeners, DispatcherListeners, EventCallbacks, ErrorManagerListeners, LogListeners,
                              ApplicationListeners, Modules>;
TYPED_TEST_SUITE(Notification, Places, PlaceName);

TYPED_TEST(Notification, OneThatIsRegisteredDuringADeliveryIsCalledInTheNext) {
    std::vector<Registration> late;
    const auto first = this->place.add([&] { late.push_back(this->place.add([&] { ++this->calls; })); });
    this->place.notify();
    EXPECT_EQ(this->calls, 0);
    this->place.notify();
    EXPECT_EQ(this->calls, 1);
}

TYPED_TEST(Notification, OneThatDestroysItselfIsCalledOnce) {
    std::array<Registration, 3> each;
    for (auto& registration : each) {
        registration = this->place.add([&] {
            ++this->calls;
            registration.reset();
        });
    }
    this->place.notify();
    this->place.notify();
    EXPECT_EQ(this->calls, 3);
}

TYPED_TEST(Notification, OneThatThrowsDoesNotStopTheOthers) {
    const auto throws = [&] {
        ++this->calls;
        throw std::runtime_error("no");
    };
    const std::array<Registration, 3> each{this->place.add(throws), this->place.add(throws), this->place.add(throws)};
    this->place.notify();
    EXPECT_EQ(this->calls, 3);
}

TYPED_TEST(Notification, OneThatNotifiesAgainReachesAllOnceMore) {
    const auto reEnters = [&] {
        if (++this->calls == 1) this->place.notify();
    };
    const std::array<Registration, 2> each{this->place.add(reEnters), this->place.add(reEnters)};
    this->place.notify();
    EXPECT_EQ(this->calls, 4);
}

TYPED_TEST(Notification, OneThatEndsAllRegistrationsInAnInnerDeliveryEndsTheOuterOne) {
    std::vector<Registration> each(3);
    for (auto& registration : each) {
        registration = this->place.add([&] {
            if (++this->calls == 1) this->place.notify();
            if (this->calls == 4) each.clear();
        });
    }
    this->place.notify();
    EXPECT_EQ(this->calls, 4) << "one call of the outer delivery, three of the inner one";
}

TYPED_TEST(Notification, OneThatDiesBeforeItsTurnIsNotCalled) {
    Registration first;
    Registration second;
    const auto ending = [this](Registration& other) {
        return [this, &other] {
            ++this->calls;
            other.reset();
        };
    };
    first = this->place.add(ending(second));
    second = this->place.add(ending(first));
    this->place.notify();
    EXPECT_EQ(this->calls, 1) << "whichever is called first ends the other";
    this->place.notify();
    EXPECT_EQ(this->calls, 2);
}

TEST(DispatcherDelivery, StillCallsWhatIsUnregisteredButLives) {
    DispatcherListeners place;
    int calls = 0;
    std::array<std::unique_ptr<DispatcherListeners::Listener>, 2> each;
    for (auto& listener : each) {
        listener = std::make_unique<DispatcherListeners::Listener>([&] {
            ++calls;
            for (const auto& one : each)
                KrSim::KrEventDispatcher::unregisterListener(kEvent, one.get());
        });
        KrSim::KrEventDispatcher::registerListener(kEvent, listener.get());
    }
    place.notify();
    EXPECT_EQ(calls, 2);
    place.notify();
    EXPECT_EQ(calls, 2);
}

template <class Place>
class OwnerDeath : public Notification<Place> {};
using MortalPlaces = testing::Types<FieldObservers, PropertyObservers, FieldListeners, BaseSubscribers, EventCallbacks,
                                    ErrorManagerListeners, LogListeners>;
TYPED_TEST_SUITE(OwnerDeath, MortalPlaces, PlaceName);

TYPED_TEST(OwnerDeath, EndsTheDelivery) {
    const auto destroys = [&] {
        ++this->calls;
        this->place.end();
    };
    const std::array<Registration, 2> each{this->place.add(destroys), this->place.add(destroys)};
    this->place.notify();
    EXPECT_EQ(this->calls, 1);
}

template <class Place>
class HeldListener : public Notification<Place> {};
using HoldingPlaces =
    testing::Types<FieldListeners, ObjectListeners, SorterListeners, ErrorManagerListeners, ApplicationListeners>;
TYPED_TEST_SUITE(HeldListener, HoldingPlaces, PlaceName);

TYPED_TEST(HeldListener, LivesUntilItsCallHasEnded) {
    auto token = std::make_shared<int>();
    const std::weak_ptr<int> life = token;
    Registration handle;
    bool livesInItsCall = false;
    handle = this->place.hold([&, token = std::move(token)] {
        ++this->calls;
        handle.reset();
        livesInItsCall = !life.expired();
    });
    this->place.notify();
    EXPECT_TRUE(livesInItsCall);
    EXPECT_TRUE(life.expired());
    this->place.notify();
    EXPECT_EQ(this->calls, 1);
}

}  // namespace notification_rules_test
