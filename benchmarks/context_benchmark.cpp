// What extensions ask of their application: whether content may change now, and to do something later.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "benchmarks/second_thread.h"
#include "kr/application/context/application_context.h"
#include "kr/application/context/application_state.h"

namespace {

using KrSim::ApplicationContext;
using KrSim::ApplicationState;

constexpr int kBatch = 1000;

/// The least that hands functions to another thread: a vector under a mutex, nothing for exceptions and the end.
class BareQueue {
public:
    void executeLater(std::function<void()> function) {
        const std::lock_guard lock(_mutex);
        _queued.push_back(std::move(function));
    }
    void run() {
        {
            const std::lock_guard lock(_mutex);
            _batch.swap(_queued);
        }
        for (const auto& each : _batch)
            each();
        _batch.clear();
    }

private:
    std::mutex _mutex;
    std::vector<std::function<void()>> _queued;
    std::vector<std::function<void()>> _batch;
};

template <class Queue, class Run>
void queueAndRun(benchmark::State& state, Queue& queue, const Run& run) {
    std::int64_t calls = 0;
    const auto batch = [&] {
        for (int i = 0; i < kBatch; ++i)
            queue.executeLater([&calls] { benchmark::DoNotOptimize(++calls); });
        run();
    };
    // The two vectors that take turns get their capacity.
    batch();
    batch();
    calls = 0;
    const auto before = kr_benchmark::allocations();
    for (auto _ : state) {
        batch();
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    if (calls != state.iterations() * kBatch) state.SkipWithError("functions were lost");
    state.SetItemsProcessed(calls);
}

void BM_ExecuteLater(benchmark::State& state) {
    const auto application = Kr::makeSmart<ApplicationState>();
    const ApplicationContext context(application);
    queueAndRun(state, context, [&] { application->runDelayedFunctions(); });
}
BENCHMARK(BM_ExecuteLater);

void BM_BareQueue(benchmark::State& state) {
    BareQueue queue;
    queueAndRun(state, queue, [&] { queue.run(); });
}
BENCHMARK(BM_BareQueue);

/// On the application's thread between two passes: the longest way to an answer.
void BM_IsBusy(benchmark::State& state) {
    const auto application = Kr::makeSmart<ApplicationState>();
    const ApplicationContext context(application);
    application->thread = Kr::getCurrentThreadId();
    application->isRunning = true;
    std::int64_t busy = 0;
    for (auto _ : state) {
        busy += context.isBusy() ? 1 : 0;
    }
    if (busy != 0) state.SkipWithError("wrong answer");
}
BENCHMARK(BM_IsBusy);

}  // namespace
