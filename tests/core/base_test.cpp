#include "kr/core/base.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/log_capture.h"

namespace base_test {

using Kr::KrBase;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::Pair;
using Event = KrBase::Event;

class Vehicle : public KrBase {
    KR_BASE_CLASS(Vehicle, Kr::KrBase)
};
class Car : public Vehicle {
    KR_BASE_CLASS(Car, Vehicle)
};

class Recorder : public KrBase::Subscriber {
public:
    std::vector<std::pair<Event, KrBase*>> events;
    std::function<void(Event, KrBase*)> action;

    void onEvent(Event event, KrBase* object) override {
        events.emplace_back(event, object);
        if (action) action(event, object);
    }
};

TEST(BaseLife, WhatIsNoObjectOrNoLongerIsNotValid) {
    int number = 0;
    Car car;
    EXPECT_TRUE(KrBase::isKrBaseValid(&car));
    for (const std::uintptr_t offset : {1U, 8U, 64U}) {
        const auto inside = reinterpret_cast<std::uintptr_t>(&car) + offset;
        EXPECT_FALSE(KrBase::isKrBaseValid(reinterpret_cast<KrBase*>(inside))) << offset;
    }
    for (KrBase* stranger : {static_cast<KrBase*>(nullptr), reinterpret_cast<KrBase*>(&number)}) {
        EXPECT_FALSE(KrBase::isKrBaseValid(stranger));
        EXPECT_FALSE(KrBase::_removeKrBaseInstance(stranger));
    }
    EXPECT_TRUE(KrBase::_removeKrBaseInstance(&car));
    EXPECT_FALSE(KrBase::isKrBaseValid(&car));
    EXPECT_THAT(KrBase::getKrBaseList(), Not(Contains(&car)));
}

TEST(BaseLife, SwitchingTheTrackingOffAndOnLeavesNoDeadAddress) {
    auto tracked = std::make_unique<Car>();
    const KrBase* address = tracked.get();
    KrBase::setEnableMemoryTracking(false);
    auto untracked = std::make_unique<Car>();
    EXPECT_FALSE(KrBase::isKrBaseValid(untracked.get()));
    EXPECT_TRUE(KrBase::isKrBaseValid(address));
    tracked.reset();
    KrBase::setEnableMemoryTracking(true);
    EXPECT_FALSE(KrBase::isKrBaseValid(address));
}

// Neighbours share a page of the set; a fault in it loses one of them or keeps it.
TEST(BaseLife, TheSetAgreesWithAModelUnderRandomBirthAndDeath) {
    const unsigned seed = 20203;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::vector<std::unique_ptr<Car>> alive;
    for (int step = 0; step < 20000; ++step) {
        if (alive.empty() || random() % 100 < (step < 10000 ? 80U : 40U)) {
            alive.push_back(std::make_unique<Car>());
        } else {
            std::swap(alive[random() % alive.size()], alive.back());
            const KrBase* address = alive.back().get();
            alive.pop_back();
            ASSERT_FALSE(KrBase::isKrBaseValid(address));
        }
    }
    ASSERT_FALSE(alive.empty());
    const std::vector<KrBase*> list = KrBase::getKrBaseList();
    for (const auto& car : alive) {
        ASSERT_TRUE(KrBase::isKrBaseValid(car.get()));
        ASSERT_EQ(std::count(list.begin(), list.end(), car.get()), 1);
    }
}

TEST(BaseLife, ThreadsMakeDestroyAndTestObjectsSideBySide) {
    Car shared;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                const auto own = std::make_unique<Car>();
                ASSERT_TRUE(KrBase::isKrBaseValid(own.get()));
                ASSERT_TRUE(KrBase::isKrBaseValid(&shared));
            }
        });
    }
}

TEST(BaseClass, TypesFollowTheInheritance) {
    const Car car;
    EXPECT_FALSE(car.isOfExactClassType(Vehicle::getClassType()));
    EXPECT_TRUE(car.isOfClassType(Vehicle::getClassType()));
    EXPECT_TRUE(car.isOfClassType(KrBase::getClassType()));
    EXPECT_FALSE(Vehicle().isOfClassType(Car::getClassType()));
    EXPECT_EQ(car.getClassName(), "Car");
    EXPECT_THAT(KrBase::getIDVector(), Contains(Car::getClassType()));
}

TEST(BaseName, CombinedNamesLeaveEmptyPartsOut) {
    KrBase::resetKrBaseCounter();
    Car car;
    EXPECT_EQ(car.getCreationIndex(), 0U);
    car.setCombinedName("default", "Car", 7);
    EXPECT_EQ(car.getName(), "default_Car_7");
    car.setCombinedName("", nullptr, 3);
    EXPECT_EQ(car.getName(), "3");
    car.setName(nullptr);
    EXPECT_FALSE(car.hasName());
}

TEST(BaseSubscriber, HearsRenamingAndDestruction) {
    Recorder recorder;
    auto car = std::make_unique<Car>();
    KrBase* address = car.get();
    recorder.action = [](Event event, KrBase* object) {
        EXPECT_EQ(KrBase::isKrBaseValid(object), event != Event::kDestroyed);
    };
    for (KrBase::Subscriber* subscriber : {&recorder, &recorder, static_cast<Recorder*>(nullptr)})
        car->addSubscriber(subscriber);
    car->setName("Beetle");
    car->setName("Beetle");
    car.reset();
    EXPECT_THAT(recorder.events, ElementsAre(Pair(Event::kRenamed, address), Pair(Event::kDestroyed, address)));
}

TEST(BaseSubscriber, SubscribesToSingleEvents) {
    Car car;
    Recorder recorder;
    car.addSubscriber(Event::kDestroyed, &recorder);
    car.setName("Beetle");
    EXPECT_TRUE(recorder.events.empty());
    car.addSubscriber(Event::kRenamed, &recorder);
    EXPECT_TRUE(car.isSubscribed(Event::kDestroyed, &recorder));
    EXPECT_FALSE(car.isSubscribed(&recorder)) << "not to all";
    car.addSubscriber(&recorder);
    EXPECT_TRUE(car.isSubscribed(&recorder));
    car.removeSubscriber(Event::kRenamed, &recorder);
    EXPECT_FALSE(car.isSubscribed(Event::kRenamed, &recorder));
    EXPECT_TRUE(car.isSubscribed(Event::kDestroyed, &recorder));
}

TEST(BaseSubscriber, MayComeAndGoWhileAnEventIsTold) {
    Car car;
    Recorder first, second, late;
    auto third = std::make_unique<Recorder>();
    first.action = [&](Event, KrBase* object) {
        object->removeSubscriber(&first);
        object->removeSubscriber(&second);
        object->addSubscriber(&late);
        third.reset();
    };
    for (KrBase::Subscriber* subscriber : {&first, &second, third.get()})
        car.addSubscriber(subscriber);
    car.setName("one");
    EXPECT_EQ(late.events.size(), 0U);
    car.setName("two");
    EXPECT_EQ(first.events.size(), 1U);
    EXPECT_EQ(second.events.size(), 0U);
    EXPECT_EQ(late.events.size(), 1U);
}

TEST(BaseSubscriber, MayDestroyTheObjectOrItself) {
    auto car = std::make_unique<Car>();
    KrBase* address = car.get();
    auto selfDestroyer = std::make_unique<Recorder>();
    Recorder destroyer, last;
    selfDestroyer->action = [&](Event, KrBase*) { selfDestroyer.reset(); };
    destroyer.action = [&](Event event, KrBase*) {
        if (event == Event::kRenamed) car.reset();
    };
    for (KrBase::Subscriber* subscriber : {selfDestroyer.get(), &destroyer, &last})
        car->addSubscriber(subscriber);
    car->setName("short-lived");
    EXPECT_EQ(selfDestroyer, nullptr);
    EXPECT_THAT(destroyer.events, ElementsAre(Pair(Event::kRenamed, address), Pair(Event::kDestroyed, address)));
    EXPECT_THAT(last.events, ElementsAre(Pair(Event::kDestroyed, address)));
}

TEST(BaseSubscriber, ThatDiedOrLeftIsNotTold) {
    Car car;
    Recorder leaver;
    car.addSubscriber(&leaver);
    EXPECT_FALSE(car.isSubscribed(std::make_unique<Recorder>(leaver).get()));
    leaver.unsubscribeFromAll();
    EXPECT_FALSE(car.isSubscribed(&leaver));
    car.addSubscriber(std::make_unique<Recorder>().get());
    car.setName("alone");
    EXPECT_TRUE(leaver.events.empty());
    car.addSubscriber(&leaver);
    car.setName("again");
    EXPECT_EQ(leaver.events.size(), 1U);
}

TEST(BaseSubscriber, ExceptionsAreLoggedAndTheNextOneIsTold) {
    const test_support::LogCapture log;
    Car car;
    Recorder throwing, odd, last;
    throwing.action = [](Event, KrBase*) { throw std::runtime_error("%s no"); };
    odd.action = [](Event, KrBase*) { throw 7; };
    for (KrBase::Subscriber* subscriber : {&throwing, &odd, &last})
        car.addSubscriber(Event::kRenamed, subscriber);
    car.setName("Beetle");
    EXPECT_EQ(last.events.size(), 1U);
    EXPECT_THAT(log.lines(), ElementsAre("3 KrBase: fatal error in 'Beetle' onEvent() [%s no]\n",
                                         "3 KrBase: unhandled exception in 'Beetle' onEvent()\n"));
}

TEST(BaseSubscriber, TheConstructorSubscriberIsAttachedToEachNewObject) {
    const Car older;
    auto recorder = std::make_unique<Recorder>();
    KrBase::setConstructorSubscriber(recorder.get());
    auto car = std::make_unique<Car>();
    KrBase* address = car.get();
    EXPECT_FALSE(older.isSubscribed(recorder.get()));
    car.reset();
    EXPECT_THAT(recorder->events, ElementsAre(Pair(Event::kConstructed, address), Pair(Event::kDestroyed, address)));
    recorder.reset();
    EXPECT_EQ(KrBase::getConstructorSubscriber(), nullptr);
}

}  // namespace base_test
