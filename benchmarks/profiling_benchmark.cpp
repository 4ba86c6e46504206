// What the sections and metrics in the main loop cost while nothing is measured, and while something is.

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <string_view>

#include "kr/platform/profiling.h"

namespace {

/// The least that can be asked for: one load and one test.
std::atomic<std::int64_t*> watcher{nullptr};

void BM_LoadAndTest(benchmark::State& state) {
    for (auto _ : state) {
        if (auto* const found = watcher.load(std::memory_order_acquire)) [[unlikely]]
            ++*found;
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LoadAndTest);

void BM_SectionOff(benchmark::State& state) {
    for (auto _ : state) {
        const Kr::ProfilingSection section("Benchmarks", "Section");
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SectionOff);

void BM_MetricOff(benchmark::State& state) {
    for (auto _ : state) {
        Kr::publishMetric("Metric", 1.0);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_MetricOff);

class Counter final : public Kr::IProfiler {
public:
    void onSectionOpened(std::string_view, std::string_view) override { ++calls; }
    void onSectionClosed() override { ++calls; }
    void onMetric(std::string_view, double) override { ++calls; }

    std::int64_t calls{0};
};

void BM_SectionOn(benchmark::State& state) {
    Counter counter;
    Kr::setProfiler(&counter);
    for (auto _ : state) {
        const Kr::ProfilingSection section("Benchmarks", "Section");
    }
    Kr::setProfiler(nullptr);
    if (counter.calls != 2 * state.iterations()) state.SkipWithError("calls were lost");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SectionOn);

}  // namespace
