// Finding content by its ID, coming and going, and references that follow one definition.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <random>
#include <thread>
#include <unordered_map>
#include <vector>

#include "kr/content/content_directory.h"
#include "kr/content/content_id.h"
#include "kr/content/content_reference.h"

namespace {

using KrSim::KrContentDirectory;
using KrSim::KrContentID;
using KrSim::KrContentReference;
using KrSim::KrExtension;

/// The C library drops the lock prefix of atomics while a process has one thread; simulators have more.
const std::jthread idleThread([](const std::stop_token& stop) {
    while (!stop.stop_requested())
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
});

/// IDs, each with the address of something that is never looked at.
struct Content {
    std::vector<KrContentID> ids;
    std::vector<KrExtension*> extensions;

    explicit Content(std::size_t count) : ids(count), _bytes(8 * count) {
        for (std::size_t i = 0; i < count; ++i) {
            ids[i] = KrContentID::createUnique();
            extensions.push_back(reinterpret_cast<KrExtension*>(_bytes.data() + 8 * i));
        }
    }
    void enter() const {
        for (std::size_t i = 0; i < ids.size(); ++i)
            KrContentDirectory::add(extensions[i], ids[i]);
    }
    void leave() const {
        for (std::size_t i = 0; i < ids.size(); ++i)
            KrContentDirectory::remove(extensions[i], ids[i]);
    }
    [[nodiscard]] std::vector<KrContentID::Identifier> shuffledIDs() const {
        std::vector<KrContentID::Identifier> shuffled;
        for (const KrContentID& id : ids)
            shuffled.push_back(id.getRuntimeID());
        std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(5489));
        return shuffled;
    }

private:
    std::vector<char> _bytes;
};

template <class Find>
void findAll(benchmark::State& state, const std::vector<KrContentID::Identifier>& ids, const Find& find) {
    std::size_t i = 0;
    bool areAllFound = true;
    for (auto _ : state) {
        areAllFound &= find(ids[i]) != nullptr;
        if (++i == ids.size()) i = 0;
    }
    if (!areAllFound) state.SkipWithError("content was not found");
    state.SetItemsProcessed(state.iterations());
}

void BM_Find(benchmark::State& state) {
    const Content content(static_cast<std::size_t>(state.range(0)));
    content.enter();
    findAll(state, content.shuffledIDs(), [](const auto& id) { return KrContentDirectory::find(id); });
    content.leave();
}
BENCHMARK(BM_Find)->Arg(1000)->Arg(1000000);

// The least that can do it: one probe of a standard table under a mutex.
void BM_BareProbe(benchmark::State& state) {
    const Content content(static_cast<std::size_t>(state.range(0)));
    std::mutex mutex;  // guards the table
    std::unordered_map<KrContentID::Identifier, KrExtension*> table;
    for (std::size_t i = 0; i < content.ids.size(); ++i)
        table.emplace(content.ids[i].getRuntimeID(), content.extensions[i]);
    findAll(state, content.shuffledIDs(), [&](const auto& id) {
        const std::lock_guard lock(mutex);
        return table.find(id)->second;
    });
}
BENCHMARK(BM_BareProbe)->Arg(1000)->Arg(1000000);

void BM_ComeAndGo(benchmark::State& state) {
    const Content content(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        content.enter();
        content.leave();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ComeAndGo)->Arg(100000);

// As when one file is loaded again and again. They go in random order.
void BM_ComeAndGoWithOneID(benchmark::State& state) {
    Content content(static_cast<std::size_t>(state.range(0)));
    std::fill(content.ids.begin(), content.ids.end(), content.ids.front());
    for (auto _ : state) {
        content.enter();
        std::shuffle(content.extensions.begin(), content.extensions.end(), std::mt19937(5489));
        content.leave();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ComeAndGoWithOneID)->Arg(100000);

// Instances that refer to one definition, which comes and goes.
void BM_FollowOneDefinition(benchmark::State& state) {
    const Content definition(1);
    std::vector<KrContentReference> references(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        for (KrContentReference& each : references)
            each.setTarget(definition.ids.front());
        definition.enter();
        if (!references.back().get()) state.SkipWithError("the definition was not found");
        for (KrContentReference& each : references)
            each.reset();
        definition.leave();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_FollowOneDefinition)->Arg(10000)->Arg(100000);

void BM_CreateUnique(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(KrContentID::createUnique());
}
BENCHMARK(BM_CreateUnique);

}  // namespace
