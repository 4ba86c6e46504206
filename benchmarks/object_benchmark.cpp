// Large objects: that time grows with their size, whatever is done to them.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>

#include "kr/extension/extension.h"
#include "kr/extension/object.h"

namespace {

using Kr::KrSmartPtr;
using KrSim::KrExtension;
using KrSim::KrObject;

constexpr int kBranch = 100;

void addMany(KrObject& object, std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i) {
        const auto extension = Kr::makeSmart<KrExtension>();
        extension->setName("Wheel");
        object.add(extension.get());
    }
}

/// Child objects of a hundred extensions each, `count` in all; one tree of each size serves all.
KrObject& treeOf(std::int64_t count) {
    static auto& trees = *new std::map<std::int64_t, KrSmartPtr<KrObject>>;
    auto& root = trees[count];
    if (root) return *root;
    root = Kr::makeSmart<KrObject>();
    for (std::int64_t made = 0; made < count; made += kBranch) {
        const auto child = Kr::makeSmart<KrObject>();
        root->add(child.get());
        addMany(*child, kBranch - 1);
    }
    return *root;
}

void BM_AddOneName(benchmark::State& state) {
    for (auto _ : state) {
        auto object = Kr::makeSmart<KrObject>();
        addMany(*object, state.range(0));
        state.PauseTiming();
        object.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_AddOneName)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void BM_RemoveFirst(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto object = Kr::makeSmart<KrObject>();
        addMany(*object, state.range(0));
        state.ResumeTiming();
        while (auto* first = object->getExtension(0))
            object->remove(first);
    }
}
BENCHMARK(BM_RemoveFirst)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void BM_Clone(benchmark::State& state) {
    auto& tree = treeOf(state.range(0));
    for (auto _ : state) {
        auto copy = tree.clone();
        state.PauseTiming();
        copy.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_Clone)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void BM_Instantiate(benchmark::State& state) {
    auto& tree = treeOf(state.range(0));
    for (auto _ : state) {
        auto instance = tree.instantiate();
        state.PauseTiming();
        instance.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_Instantiate)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void BM_Sync(benchmark::State& state) {
    auto& tree = treeOf(state.range(0));
    const auto instance = tree.instantiate();
    for (auto _ : state)
        benchmark::DoNotOptimize(instance->sync());
}
BENCHMARK(BM_Sync)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

/// The definition has lost all that the instance has.
void BM_SyncWithEmptied(benchmark::State& state) {
    const auto definition = Kr::makeSmart<KrObject>();
    for (auto _ : state) {
        state.PauseTiming();
        addMany(*definition, state.range(0));
        const auto instance = definition->instantiate();
        while (auto* first = definition->getExtension(0))
            definition->remove(first);
        state.ResumeTiming();
        benchmark::DoNotOptimize(instance->sync());
    }
}
BENCHMARK(BM_SyncWithEmptied)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

}  // namespace
