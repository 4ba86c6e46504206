#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "kr/platform/internal/object_pool.h"
#include "kr/platform/pooled_object.h"

namespace object_pool_test {

using Kr::detail::ObjectPool;

class ObjectPools : public testing::TestWithParam<std::size_t> {};

TEST_P(ObjectPools, GiveEachRoomToOneObjectAtATime) {
    static auto& pools = *new std::array<ObjectPool, 17>;  // which keep their pieces, so they must not die
    const auto bytes = GetParam();
    auto& own = pools[bytes / ObjectPool::kStep];
    std::set<std::uintptr_t> taken;
    const auto take = [&] {
        auto* room = own.take(bytes);
        std::fill_n(static_cast<unsigned char*>(room), bytes, static_cast<unsigned char>(0xa5));
        const auto address = reinterpret_cast<std::uintptr_t>(room);
        EXPECT_EQ(address % ObjectPool::kStep, ObjectPool::kStep / 2);
        const auto after = taken.lower_bound(address);
        EXPECT_TRUE(after == taken.end() || *after >= address + bytes);
        EXPECT_TRUE(after == taken.begin() || *std::prev(after) + bytes <= address);
        taken.insert(address);
    };
    // Beyond the largest piece, so that there are several of all sizes.
    for (std::size_t i = 0; i < (std::size_t{5} << 20) / bytes; ++i)
        take();
    const std::set<std::uintptr_t> first = taken;
    for (int i = 0; i < 1000; ++i) {
        own.giveBack(reinterpret_cast<void*>(*taken.begin()));
        taken.erase(taken.begin());
    }
    for (int i = 0; i < 1000; ++i)
        take();
    EXPECT_EQ(taken, first);  // what was left is used again
}

TEST_P(ObjectPools, PutObjectsSideBySideWhateverTheOrderInWhichOthersDied) {
    static auto& pools = *new std::array<ObjectPool, 17>;
    constexpr std::size_t kCount = 10'000;
    constexpr std::uintptr_t kNear = std::uintptr_t{16} << 10;
    const auto bytes = GetParam();
    auto& own = pools[bytes / ObjectPool::kStep];
    std::vector<void*> objects(kCount);
    for (auto& each : objects)
        each = own.take(bytes);
    std::shuffle(objects.begin(), objects.end(), std::mt19937(1));
    for (auto* each : objects)
        own.giveBack(each);
    std::size_t farSteps = 0;
    std::uintptr_t last = 0;
    for (std::size_t i = 0; i < kCount; ++i) {
        const auto address = reinterpret_cast<std::uintptr_t>(own.take(bytes));
        farSteps += static_cast<std::size_t>(address / kNear != last / kNear);
        last = address;
    }
    EXPECT_LE(farSteps, kCount * bytes / kNear + kCount / 20);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ObjectPools, testing::Values(32, 96, 512));

struct Small : Kr::PooledObject {
    std::uint64_t number{0};
    virtual ~Small() = default;
};
struct Large final : Small {
    char room[1000]{};
};
struct alignas(256) Aligned final : Small {
    char room[256]{};
};

TEST(PooledObjects, OfAnyKindDieThroughTheirBaseOnAnyThread) {
    const auto work = [] {
        std::vector<std::unique_ptr<Small>> objects;
        for (std::uint64_t i = 0; i < 3000; ++i) {
            if (i % 3 == 0) objects.push_back(std::make_unique<Small>());
            if (i % 3 == 1) objects.push_back(std::make_unique<Large>());
            if (i % 3 == 2) objects.push_back(std::make_unique<Aligned>());
            objects.back()->number = i;
            const auto address = reinterpret_cast<std::uintptr_t>(objects.back().get());
            EXPECT_EQ(address % (i % 3 == 2 ? 256 : 16), 0u);
        }
        for (std::uint64_t i = 0; i < objects.size(); ++i)
            EXPECT_EQ(objects[i]->number, i);
    };
    std::thread other(work);
    work();
    other.join();
}

}  // namespace object_pool_test
