// The memory of extensions, in a program of its own: counting allocations takes time.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "benchmarks/extension_types.h"

namespace {

using namespace kr_benchmark;

/// Allocations of the factory beyond those of the extension itself.
void BM_FactoryAllocations(benchmark::State& state) {
    const Types<Bare> types(100);
    const KrFactoryKey& key = types.keys.front();
    std::uint64_t extra = 0;
    for (auto _ : state) {
        const std::uint64_t before = kr_benchmark::allocations();
        auto extension = makeDirectly(key);
        const std::uint64_t own = kr_benchmark::allocations() - before;
        extension = KrExtensionFactory::create(key);
        extra += kr_benchmark::allocations() - before - 2 * own;
    }
    state.counters["allocations"] = static_cast<double>(extra);
}
BENCHMARK(BM_FactoryAllocations);

template <class T>
void BM_Memory(benchmark::State& state) {
    const Types<T> types(1);
    constexpr std::size_t kCount = 1'000;
    std::uint64_t asked = 0;
    for (auto _ : state) {
        std::vector<Kr::KrSmartPtr<KrExtension>> extensions(kCount);
        const std::uint64_t before = kr_benchmark::bytesAsked();
        for (auto& extension : extensions)
            extension = KrExtensionFactory::create(types.keys.front());
        asked = kr_benchmark::bytesAsked() - before;
    }
    state.counters["bytes"] = static_cast<double>(asked) / kCount;
}
BENCHMARK(BM_Memory<Bare>);
BENCHMARK(BM_Memory<Vehicle>);

}  // namespace
