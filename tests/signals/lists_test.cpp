#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kr/signals/copy_on_write.h"
#include "kr/signals/death_watch.h"
#include "kr/signals/listener_list.h"
#include "kr/signals/snapshot_list.h"
#include "kr/signals/walk_list.h"
#include "tests/support/stress.h"

namespace lists_test {

using test_support::kStressThreads;
using testing::ElementsAre;
using testing::IsEmpty;

// --- Walk list -----------------------------------------------------------------------------------------------------

using Numbers = Kr::WalkList<const int*>;
constexpr int kNumbers[] = {0, 1, 2, 3, 4, 5, 6, 7};

struct WalkListTest : testing::Test {
    WalkListTest() {
        for (int i = 0; i < 4; ++i)
            list->add(&kNumbers[i]);
    }
    [[nodiscard]] std::vector<int> listed() const {
        std::vector<int> numbers;
        for (const int* each : list->items())
            numbers.push_back(*each);
        return numbers;
    }
    /// The numbers that a walk visits, with an action after each.
    template <class Then>
    std::vector<int> visit(const Then& then) {
        std::vector<int> visited;
        for (Numbers::Walk walk(*list); const int* each = walk.next();) {
            visited.push_back(*each);
            then(*each);
        }
        return visited;
    }
    std::optional<Numbers> list{std::in_place};
};

TEST_F(WalkListTest, LeavesOutWhatIsRemovedBeforeItsTurnAndWhatIsAddedMeanwhile) {
    const auto visited = visit([this](int number) {
        list->remove(&kNumbers[number]);
        list->remove(&kNumbers[number + 1]);
        list->add(&kNumbers[number + 4]);
    });
    EXPECT_THAT(visited, ElementsAre(0, 2));
    EXPECT_THAT(listed(), ElementsAre(4, 6));
    EXPECT_EQ(list->places().size(), 2U) << "places close up after the walk";
}

TEST_F(WalkListTest, KeepsPlacesWhileAnOuterWalkIsUnderWay) {
    const auto visited = visit([this](int) {
        for (int i = 0; i < 3; ++i)
            list->remove(&kNumbers[i]);
        visit([](int) {});
    });
    EXPECT_THAT(visited, ElementsAre(0, 3));
    EXPECT_THAT(listed(), ElementsAre(3));
}

TEST_F(WalkListTest, EndsAllWalksWhenItDies) {
    std::vector<int> inner;
    const auto outer = visit([&](int) { inner = visit([this](int) { list.reset(); }); });
    EXPECT_THAT(outer, ElementsAre(0));
    EXPECT_THAT(inner, ElementsAre(0));
}

TEST_F(WalkListTest, EndsItsWalksWhenItsItemsAreTakenOver) {
    std::optional<Numbers> taken;
    EXPECT_THAT(visit([&](int) { taken.emplace(std::move(*list)); }), ElementsAre(0));
    EXPECT_EQ(taken->size(), 4U);
    EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(WalkListTest, KnowsItsFirstItemThroughRemovalAndAddition) {
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(list->first(), &kNumbers[i]);
        list->remove(&kNumbers[i]);
    }
    EXPECT_EQ(list->first(), nullptr);
    list->add(&kNumbers[7]);
    EXPECT_EQ(list->first(), &kNumbers[7]);
}

TEST(WalkListOfPlaces, TellsItemsTheirNewPlaces) {
    std::array<std::size_t, 8> places{};
    const auto note = [&](const int* item, std::size_t place) { places.at(static_cast<std::size_t>(*item)) = place; };
    Kr::WalkList<const int*, decltype(note)> list(note);
    for (const int& each : kNumbers)
        places.at(static_cast<std::size_t>(each)) = list.add(&each);
    for (const std::size_t place : {0U, 2U, 4U, 6U})
        list.removeAt(place);
    EXPECT_THAT(places, ElementsAre(0, 0, 2, 1, 4, 2, 6, 3));
}

// --- Death watch ---------------------------------------------------------------------------------------------------

TEST(DeathWatch, TellsEveryCallAboveOfEachOfItsObjects) {
    const int object = 0;
    const int other = 0;
    const Kr::DeathWatch outer(&object, &other);
    {
        const Kr::DeathWatch inner(&other);
        Kr::DeathWatch::announce(&other);
        EXPECT_TRUE(inner.died());
    }
    EXPECT_FALSE(outer.died());
    EXPECT_TRUE(outer.otherDied());
}

// --- Copy on write -------------------------------------------------------------------------------------------------

TEST(CopyOnWrite, CopiesOnlyWhileItIsRead) {
    Kr::CopyOnWrite<std::string> text;
    text.edit() = "one";
    const auto* const address = &*text;
    text.edit() += " two";
    EXPECT_EQ(&*text, address);
    const auto read = text.read();
    text.edit() += " three";
    EXPECT_EQ(*read, "one two");
    EXPECT_EQ(*text, "one two three");
    EXPECT_FALSE(text.isCurrent(read));
}

// --- Listener list -------------------------------------------------------------------------------------------------

struct Listener {
    std::atomic<int> calls{0};
};
using Listeners = Kr::ListenerList<Listener>;

constexpr Kr::GuardTexts kTexts{Kr::eLogLevel::kWarn, "%s [%s]\n", "%s\n", "test"};

void callAll(const Listeners& listeners) {
    listeners.notify(
        kTexts, [] { return "test"; }, [](Listener& each) { ++each.calls; });
}

TEST(ListenerList, ListsEachListenerOnce) {
    Listeners listeners;
    const auto listener = std::make_shared<Listener>();
    EXPECT_TRUE(listeners.add(listener.get()));
    EXPECT_FALSE(listeners.add(listener.get()));
    EXPECT_FALSE(listeners.hold(listener).isConnected());
    EXPECT_FALSE(listeners.add(static_cast<Listener*>(nullptr)));
    callAll(listeners);
    EXPECT_EQ(listener->calls, 1);
    EXPECT_TRUE(listeners.remove(listener.get()));
    EXPECT_FALSE(listeners.remove(listener.get()));
}

TEST(ListenerList, AnswersListenersInTheOrderOfTheirAddresses) {
    Listeners listeners;
    std::array<Listener, 3> each;
    for (const std::size_t i : {1U, 2U, 0U})
        listeners.add(&each.at(i));
    Listeners::Delivery delivery(listeners);
    EXPECT_EQ(delivery.nextByAddress(), each.data());
    listeners.remove(&each[1]);
    EXPECT_EQ(delivery.nextByAddress(), &each[2]);
    EXPECT_EQ(delivery.nextByAddress(), nullptr);
}

TEST(ListenerList, HandlesOutliveIt) {
    const auto listener = std::make_shared<Listener>();
    std::optional<Listeners> listeners(std::in_place);
    auto handle = listeners->hold(listener);
    EXPECT_TRUE(handle.isConnected());
    listeners.reset();
    EXPECT_FALSE(handle.isConnected());
    EXPECT_EQ(listener.use_count(), 1);
    handle.disconnect();
}

// --- On many threads -----------------------------------------------------------------------------------------------

constexpr int kRounds = test_support::stressRounds(2000, 400);

TEST(ListenerListStress, HeldListenersComeAndDieOnAllThreadsWhileOneNotifies) {
    Listeners listeners;
    Listener steady;
    listeners.add(&steady);
    int deliveries = 0;
    std::atomic<int> listed{0};
    test_support::runStress(
        kRounds,
        [&](int, int) {
            const auto handle = listeners.hold(std::make_shared<Listener>());
            listed += handle.isConnected() ? 1 : 0;
        },
        [&] {
            callAll(listeners);
            ++deliveries;
        });
    EXPECT_EQ(listed, kStressThreads * kRounds);
    EXPECT_EQ(steady.calls, deliveries);
}

TEST(ListenerListStress, TheListDiesWhileHandlesEndOnOtherThreads) {
    std::atomic<int> living{0};
    for (int round = 0; round < kRounds; ++round) {
        auto listeners = std::make_unique<Listeners>();
        auto handle = listeners->hold(std::make_shared<Listener>());
        std::thread other([&] { handle.disconnect(); });
        callAll(*listeners);
        listeners.reset();
        other.join();
        living += handle.isConnected() ? 1 : 0;
    }
    EXPECT_EQ(living, 0);
}

using Callbacks = Kr::CallbackList<int&>;

void callAll(Callbacks* callbacks, int& sum) {
    const Callbacks::Reader reader(callbacks);
    for (std::uint32_t i = 0; i < reader.size(); ++i) {
        if (const auto* function = reader[i]) (*function)(sum);
    }
}

struct Close {
    void operator()(Callbacks* callbacks) const { callbacks->close(); }
};

TEST(SnapshotList, DestroysAFunctionThatEndsInItsCallWhenTheDeliveryEnds) {
    for (const std::size_t others : {0U, 100U}) {
        SCOPED_TRACE(others);
        const std::unique_ptr<Callbacks, Close> callbacks(new Callbacks);
        std::vector<KrData::DelegateConnection> handles(others);
        for (auto& each : handles)
            each = callbacks->add([](int&) {});
        auto token = std::make_shared<int>();
        const std::weak_ptr<int> life = token;
        bool livesInItsCall = false;
        KrData::DelegateConnection ending;
        ending = callbacks->add([&, token = std::move(token)](int&) {
            ending.disconnect();
            livesInItsCall = !life.expired();
        });
        int calls = 0;
        callAll(callbacks.get(), calls);
        EXPECT_TRUE(livesInItsCall);
        EXPECT_TRUE(life.expired());
    }
}

TEST(SnapshotListStress, FunctionsComeAndGoOnAllThreadsWhileAllNotify) {
    const std::unique_ptr<Callbacks, Close> callbacks(new Callbacks);
    const auto token = std::make_shared<int>();
    std::array<KrData::DelegateConnection, 40> steady;  // so many that those that end stay in their places for a time
    for (auto& each : steady)
        each = callbacks->add([](int&) {});
    std::atomic<int> missed{0};
    test_support::runStress(
        kRounds,
        [&](int, int) {
            int calls = 0;
            const auto own = callbacks->add([token](int& sum) { ++sum; });
            callAll(callbacks.get(), calls);
            missed += calls == 0 ? 1 : 0;
        },
        [&] {
            int calls = 0;
            callAll(callbacks.get(), calls);
        });
    EXPECT_EQ(missed, 0) << "each thread calls its own function at least";
    callbacks->clear();
    EXPECT_EQ(token.use_count(), 1) << "ended functions are destroyed";
}

TEST(SnapshotListStress, TheSourceDiesWhileFunctionsEndOnOtherThreads) {
    const auto token = std::make_shared<int>();
    for (int round = 0; round < kRounds; ++round) {
        auto* callbacks = new Callbacks;
        std::array<KrData::DelegateConnection, 2> handles{callbacks->add([token](int&) {}),
                                                          callbacks->add([token](int&) {})};
        std::thread other([&] { handles[0].disconnect(); });
        int calls = 0;
        callAll(callbacks, calls);
        callbacks->close();
        other.join();
    }
    EXPECT_EQ(token.use_count(), 1);
}

}  // namespace lists_test
