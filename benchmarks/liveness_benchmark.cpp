#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "kr/core/base.h"

// Is this the address of a live object? And what being asked for costs an object at its birth and death.

namespace {

using Kr::KrBase;

const std::jthread idleThread([](const std::stop_token& stop) {
    while (!stop.stop_requested())
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
});

class Thing : public KrBase {
    KR_BASE_CLASS(Thing, Kr::KrBase)
};

// What an object costs without a place in the set: the same members, made and destroyed the same way.
class Plain {
public:
    Plain() = default;
    Plain(const Plain&) = delete;
    Plain& operator=(const Plain&) = delete;
    virtual ~Plain();

    std::string name;
    std::shared_ptr<int> subscriptions;
    std::uint32_t index{0};
};
[[gnu::noinline]] Plain::~Plain() = default;

// The plain form: one mutex around a standard set.
struct MutexSet {
    std::mutex mutex;  // guards the addresses
    std::unordered_set<const void*> addresses;

    bool contains(const void* address) {
        const std::lock_guard lock(mutex);
        return addresses.find(address) != addresses.end();
    }
};

// Objects in the order in which they were made and in random order.
struct Population {
    std::vector<std::unique_ptr<Thing>> things;
    std::vector<const KrBase*> inOrder;
    std::vector<const KrBase*> shuffled;

    explicit Population(std::size_t count) : things(count) {
        for (auto& thing : things)
            thing = std::make_unique<Thing>();
        for (const auto& thing : things)
            inOrder.push_back(thing.get());
        shuffled = inOrder;
        std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(5489));
    }
};

// The objects of the benchmark before, if their number is right: making a million takes longer than testing them.
const Population& populate(benchmark::State& state) {
    static std::unique_ptr<const Population> population;
    const auto count = static_cast<std::size_t>(state.range(0));
    if (!population || population->things.size() != count) {
        population.reset();
        population = std::make_unique<const Population>(count);
    }
    return *population;
}

template <class Test>
void testAll(benchmark::State& state, const std::vector<const KrBase*>& objects, const Test& test) {
    std::size_t i = 0;
    bool areAllAlive = true;
    for (auto _ : state) {
        areAllAlive &= test(objects[i]);
        if (++i == objects.size()) i = 0;
    }
    if (!areAllAlive) state.SkipWithError("a live object was not found");
    state.SetItemsProcessed(state.iterations());
}

void BM_IsValidInOrder(benchmark::State& state) {
    const Population& population = populate(state);
    testAll(state, population.inOrder, [](const KrBase* object) { return KrBase::isKrBaseValid(object); });
}
BENCHMARK(BM_IsValidInOrder)->Arg(1000)->Arg(1000000);

void BM_IsValidShuffled(benchmark::State& state) {
    const Population& population = populate(state);
    testAll(state, population.shuffled, [](const KrBase* object) { return KrBase::isKrBaseValid(object); });
}
BENCHMARK(BM_IsValidShuffled)->Arg(1000)->Arg(1000000);

void BM_MutexSetShuffled(benchmark::State& state) {
    const Population& population = populate(state);
    MutexSet set;
    set.addresses.insert(population.inOrder.begin(), population.inOrder.end());
    testAll(state, population.shuffled, [&](const KrBase* object) { return set.contains(object); });
}
BENCHMARK(BM_MutexSetShuffled)->Arg(1000)->Arg(1000000);

template <class Object>
void createAndDestroy(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        benchmark::DoNotOptimize(std::make_unique<Object>().get());
}

double threadSeconds() {
    std::timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Making and destroying an object; the counter is what that takes beyond an object with the same members.
void BM_CreateDestroy(benchmark::State& state) {
    constexpr std::size_t kCount = 1000;
    double plainSeconds = 0.0;
    double trackedSeconds = 0.0;
    for (auto _ : state) {
        const double start = threadSeconds();
        createAndDestroy<Plain>(kCount);
        const double middle = threadSeconds();
        createAndDestroy<Thing>(kCount);
        const double end = threadSeconds();
        plainSeconds += middle - start;
        trackedSeconds += end - middle;
        state.SetIterationTime(end - middle);
    }
    const double count = static_cast<double>(kCount) * static_cast<double>(state.iterations());
    state.counters["overhead_ns"] = 1e9 * (trackedSeconds - plainSeconds) / count;
    state.SetItemsProcessed(static_cast<std::int64_t>(count));
}
BENCHMARK(BM_CreateDestroy)->UseManualTime();

}  // namespace
