#include "kr/platform/ref_count.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <barrier>
#include <functional>
#include <memory>
#include <set>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include "kr/platform/array.h"
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

class Forward;
struct HoldsForward {
    HoldsForward();
    ~HoldsForward();
    KrSmartPtr<Forward> strong;
    KrWeakPtr<Forward> weak;
};
class Forward : public Node {};
HoldsForward::HoldsForward() : strong(new Forward), weak(strong) {}
HoldsForward::~HoldsForward() = default;

static_assert(!std::is_convertible_v<KrSmartPtr<Node>, KrSmartPtr<Leaf>>);
static_assert(!std::is_convertible_v<KrWeakPtr<Node>, KrWeakPtr<Leaf>>);
static_assert(!std::is_convertible_v<Node*, KrSmartPtr<Node>>, "an object on the stack must not slip into a holder");

class SmartPointers : public testing::Test {
protected:
    ~SmartPointers() override { EXPECT_EQ(Node::alive, 0); }
};

TEST_F(SmartPointers, LastHolderDeletes) {
    auto first = Kr::makeSmart<Leaf>();
    KrSmartPtr<Node> second = first;
    KrSmartPtr<Leaf> third = std::move(first);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(second, third);
    EXPECT_EQ(second->getRefCount(), 2);
    third.reset();
    EXPECT_EQ(Node::alive, 1);
    second = std::exchange(second, KrSmartPtr<Node>());
    EXPECT_EQ(Node::alive, 1);
    second = nullptr;
    EXPECT_EQ(Node::alive, 0);
}

TEST_F(SmartPointers, AssignmentToItselfAndOfAMemberKeepsTheObject) {
    struct Chain : Node {
        KrSmartPtr<Chain> next;
    };
    auto head = Kr::makeSmart<Chain>();
    head->next = Kr::makeSmart<Chain>();
    const auto& same = head;
    head = same;
    EXPECT_EQ(Node::alive, 2);
    head = head->next;
    EXPECT_EQ(Node::alive, 1);
    EXPECT_EQ(head->getRefCount(), 1);
}

TEST_F(SmartPointers, WorkWithDeclaredClassesAndAcrossBases) {
    HoldsForward holder;
    EXPECT_EQ(holder.weak.lock(), holder.strong);

    const auto leaf = Kr::makeSmart<Leaf>();
    const KrSmartPtr<Node> node = leaf;
    EXPECT_NE(static_cast<void*>(node.get()), static_cast<void*>(leaf.get())) << "the conversion must move the address";
    EXPECT_EQ(Kr::dynamicPointerCast<Leaf>(node)->number, 7);
    EXPECT_FALSE(Kr::dynamicPointerCast<Forward>(node));
    const KrWeakPtr<Node> weak = KrWeakPtr<Leaf>(leaf);
    EXPECT_EQ(weak.lock(), node);
    EXPECT_EQ((std::set<KrSmartPtr<Node>>{node, leaf}.size()), 1U);
    EXPECT_EQ((std::unordered_set<KrSmartPtr<Node>>{node, leaf}.size()), 1U);
}

TEST_F(SmartPointers, ObjectsThatNobodyHoldsDieLikeAnyOther) {
    Node onStack;
    const KrWeakPtr<Node> weakToStack(&onStack);
    const auto unheld = std::make_unique<Node>();
    EXPECT_TRUE(onStack._isBeingDestroyed());
    EXPECT_FALSE(weakToStack.lock());
    const Node copy = onStack;
    EXPECT_EQ(copy.getRefCount(), 0);
}

TEST_F(SmartPointers, WeakBeforeTheFirstHolderWorksLater) {
    auto* plain = new Node;
    const KrWeakPtr<Node> weak(plain);
    EXPECT_FALSE(weak.lock());
    {
        const KrSmartPtr<Node> holder(plain);
        EXPECT_EQ(weak.lock(), holder);
        EXPECT_EQ(plain->getRefCount(), 1);
    }
    EXPECT_EQ(Node::alive, 0);
    EXPECT_TRUE(weak.isExpired());
    EXPECT_FALSE(weak.lock());
}

TEST_F(SmartPointers, CopyAndAssignmentTakeNoHolders) {
    const auto original = Kr::makeSmart<Node>();
    const KrWeakPtr<Node> weak(original);
    const auto copy = Kr::makeSmart<Node>(*original);
    *copy = *original;
    EXPECT_EQ(copy->getRefCount(), 1);
    EXPECT_EQ(weak.lock(), original);
}

TEST_F(SmartPointers, MarkedObjectLivesButIsNotPromoted) {
    for (const bool isWeakMadeFirst : {true, false}) {
        auto holder = Kr::makeSmart<Node>();
        KrWeakPtr<Node> weak;
        if (isWeakMadeFirst) weak = holder;
        holder->_markBeingDestroyed();
        if (!isWeakMadeFirst) weak = holder;
        EXPECT_TRUE(holder->_isBeingDestroyed());
        EXPECT_FALSE(weak.lock());
        const KrSmartPtr<Node> second = holder;
        holder.reset();
        EXPECT_EQ(second->getRefCount(), 1);
        EXPECT_EQ(Node::alive, 1);
    }
}

TEST_F(SmartPointers, DestructorMayHoldAndWatchItsOwnObject) {
    for (const bool isWatchedBefore : {true, false}) {
        bool wasPromoted = true;
        auto holder = Kr::makeSmart<Node>([&](Node& dying) {
            const KrSmartPtr<Node> again(&dying);
            wasPromoted = static_cast<bool>(KrWeakPtr<Node>(&dying).lock());
            EXPECT_TRUE(dying._isBeingDestroyed());
        });
        KrWeakPtr<Node> weak;
        if (isWatchedBefore) weak = holder;
        holder.reset();
        EXPECT_FALSE(wasPromoted);
        EXPECT_EQ(Node::alive, 0);
    }
}

TEST_F(SmartPointers, PromotionRacesWithTheLastRelease) {
    constexpr int kRounds = 6000;
    constexpr int kPromoters = 2;
    std::array<KrWeakPtr<Node>, kPromoters> weak;
    KrSmartPtr<Node> holder;
    std::atomic<int> seenDead{0};
    std::barrier step(kPromoters + 1);
    std::array<std::thread, kPromoters> promoters;
    for (std::size_t index = 0; index < kPromoters; ++index) {
        promoters[index] = std::thread([&, index] {
            for (int round = 0; round < kRounds; ++round) {
                step.arrive_and_wait();
                if (const auto locked = weak[index].lock()) {
                    if (locked->getRefCount() < 1) ++seenDead;
                }
                step.arrive_and_wait();
            }
        });
    }
    for (int round = 0; round < kRounds; ++round) {
        holder = Kr::makeSmart<Node>();
        weak.fill(KrWeakPtr<Node>(holder));
        step.arrive_and_wait();
        holder.reset();
        step.arrive_and_wait();
        EXPECT_EQ(Node::alive, 0);
        EXPECT_FALSE(weak[0].lock());
    }
    for (std::thread& promoter : promoters)
        promoter.join();
    EXPECT_EQ(seenDead, 0);
}

TEST_F(SmartPointers, FirstWeakHoldersAndStrongOnesRace) {
    constexpr int kRounds = 2000;
    KrSmartPtr<Node> shared;
    std::barrier step(3);
    const auto watch = [&] {
        for (int round = 0; round < kRounds; ++round) {
            step.arrive_and_wait();
            {
                const KrSmartPtr<Node> strong = shared;
                const KrWeakPtr<Node> weak(strong);
                EXPECT_EQ(weak.lock(), strong);
            }
            step.arrive_and_wait();
        }
    };
    std::thread first(watch);
    std::thread second(watch);
    for (int round = 0; round < kRounds; ++round) {
        shared = Kr::makeSmart<Node>();
        step.arrive_and_wait();
        const KrSmartPtr<Node> mine = shared;
        step.arrive_and_wait();
        EXPECT_EQ(shared->getRefCount(), 2);
    }
    first.join();
    second.join();
    shared.reset();
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
