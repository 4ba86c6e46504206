#include "kr/platform/ref_count.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <functional>
#include <set>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kr/platform/array.h"
#include "kr/platform/ref_count_access.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/weak_ptr.h"

namespace ref_count_test {

using Kr::KrSmartPtr;
using Kr::KrWeakPtr;

class Node : public Kr::KrRefCount {
public:
    explicit Node(std::function<void(Node&)> onDestroyed = {}) : _onDestroyed(std::move(onDestroyed)) { ++alive; }
    Node(const Node& other) : KrRefCount(other) { ++alive; }
    Node& operator=(const Node&) = default;
    ~Node() override {
        if (_onDestroyed) _onDestroyed(*this);
        --alive;
    }

    inline static std::atomic<int> alive{0};

private:
    std::function<void(Node&)> _onDestroyed;
};

struct Named {
    virtual ~Named() = default;
    int number{7};
};
class Leaf : public Named, public Node {};

struct Chain : Node {
    KrSmartPtr<Chain> next;  // holders of a class that is not complete yet
    KrWeakPtr<Chain> previous;
};

static_assert(!std::is_convertible_v<KrSmartPtr<Node>, KrSmartPtr<Leaf>>);
static_assert(!std::is_convertible_v<KrWeakPtr<Node>, KrWeakPtr<Leaf>>);
static_assert(!std::is_convertible_v<Node*, KrSmartPtr<Node>>, "an object on the stack must not slip into a holder");

class SmartPointers : public testing::Test {
protected:
    ~SmartPointers() override { EXPECT_EQ(Node::alive, 0); }
};

TEST_F(SmartPointers, AssignmentOfAMemberKeepsTheMember) {
    auto head = Kr::makeSmart<Chain>();
    head->next = Kr::makeSmart<Chain>();
    head->next->previous = head;
    head = head->next;
    EXPECT_EQ(Node::alive, 1);
    EXPECT_EQ(head->getRefCount(), 1);
    EXPECT_FALSE(head->previous.lock());
}

TEST_F(SmartPointers, WorkAcrossBases) {
    const auto leaf = Kr::makeSmart<Leaf>();
    const KrSmartPtr<Node> node = leaf;
    EXPECT_NE(static_cast<void*>(node.get()), static_cast<void*>(leaf.get())) << "the conversion must move the address";
    EXPECT_EQ(Kr::dynamicPointerCast<Leaf>(node)->number, 7);
    EXPECT_FALSE(Kr::dynamicPointerCast<Chain>(node));
    const KrWeakPtr<Node> weak = KrWeakPtr<Leaf>(leaf);
    EXPECT_EQ(weak.lock(), node);
    EXPECT_EQ((std::set<KrSmartPtr<Node>>{node, leaf}.size()), 1U);
    EXPECT_EQ((std::unordered_set<KrSmartPtr<Node>>{node, leaf}.size()), 1U);
}

TEST_F(SmartPointers, WeakOnesOfAnObjectThatNobodyHoldsWorkLater) {
    KrWeakPtr<Node> weak;
    {
        Node onStack;
        weak = KrWeakPtr<Node>(&onStack);
        EXPECT_TRUE(Kr::detail::RefCountAccess::isBeingDestroyed(onStack));
        EXPECT_FALSE(weak.lock());
    }
    EXPECT_TRUE(weak.isExpired());
    auto* plain = new Node;
    weak = KrWeakPtr<Node>(plain);
    KrSmartPtr<Node> holder(plain);
    EXPECT_EQ(weak.lock(), holder);
    EXPECT_EQ(plain->getRefCount(), 1);
    holder.reset();
    EXPECT_TRUE(weak.isExpired());
    EXPECT_FALSE(weak.lock());
}

TEST_F(SmartPointers, MarkedAndDyingObjectsAreHeldButNotPromoted) {
    const auto expectNoPromotion = [](Node& node) {
        const KrSmartPtr<Node> again(&node);
        EXPECT_FALSE(KrWeakPtr<Node>(&node).lock());
        EXPECT_TRUE(Kr::detail::RefCountAccess::isBeingDestroyed(node));
    };
    for (const bool isWatchedBefore : {true, false}) {
        auto dying = Kr::makeSmart<Node>(expectNoPromotion);
        const auto marked = Kr::makeSmart<Node>();
        std::vector<KrWeakPtr<Node>> weak;
        if (isWatchedBefore) weak = {dying, marked};
        Kr::detail::RefCountAccess::markBeingDestroyed(*marked);
        expectNoPromotion(*marked);
        EXPECT_EQ(marked->getRefCount(), 1);
        dying.reset();
        EXPECT_EQ(Node::alive, 1);
    }
}

/// Two threads do the others' work while the caller does its own; before each round it prepares, after it, it checks.
void race(int rounds, const std::function<void()>& prepare, const std::function<void()>& mine,
          const std::function<void()>& others, const std::function<void()>& check) {
    std::barrier step(3);
    const auto takePart = [&] {
        for (int round = 0; round < rounds; ++round) {
            step.arrive_and_wait();
            others();
            step.arrive_and_wait();
        }
    };
    const std::jthread first(takePart);
    const std::jthread second(takePart);
    for (int round = 0; round < rounds; ++round) {
        prepare();
        step.arrive_and_wait();
        mine();
        step.arrive_and_wait();
        check();
    }
}

TEST_F(SmartPointers, PromotionRacesWithTheLastRelease) {
    KrSmartPtr<Node> holder;
    KrWeakPtr<Node> weak;
    const auto prepare = [&] { weak = holder = Kr::makeSmart<Node>(); };
    const auto promote = [&] {
        const KrSmartPtr<Node> locked = KrWeakPtr<Node>(weak).lock();
        EXPECT_TRUE(!locked || locked->getRefCount() >= 1);
    };
    const auto check = [&] {
        EXPECT_EQ(Node::alive, 0);
        EXPECT_FALSE(weak.lock());
    };
    race(
        3000, prepare, [&] { holder.reset(); }, promote, check);
}

TEST_F(SmartPointers, FirstWeakHoldersAndStrongOnesRace) {
    KrSmartPtr<Node> shared;
    const auto hold = [&] { EXPECT_GE(KrSmartPtr<Node>(shared)->getRefCount(), 2); };
    const auto watch = [&] {
        const KrSmartPtr<Node> strong = shared;
        EXPECT_EQ(KrWeakPtr<Node>(strong).lock(), strong);
    };
    race(
        2000, [&] { shared = Kr::makeSmart<Node>(); }, hold, watch, [&] { EXPECT_EQ(shared->getRefCount(), 1); });
}

TEST(Array, KeepsOrderAndRefusesWhatIsOutside) {
    Kr::KrArray<int> array{3, 1, 2};
    array.append(array);
    EXPECT_THAT(array, testing::ElementsAre(3, 1, 2, 3, 1, 2));
    EXPECT_TRUE(array.erase(1));
    EXPECT_TRUE(array.remove(3));
    EXPECT_FALSE(array.erase(array.size()));
    EXPECT_FALSE(array.remove(42));
    EXPECT_THAT(array, testing::ElementsAre(2, 3, 1, 2));
}

}  // namespace ref_count_test
