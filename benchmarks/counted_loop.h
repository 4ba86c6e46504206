#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

#include "benchmarks/allocation_counter.h"

namespace kr_benchmark {

/// Counts what the loop in its scope asks of the allocator, as the counter "allocations".
class CountedLoop {
public:
    explicit CountedLoop(benchmark::State& state) : _state(state) {}
    CountedLoop(const CountedLoop&) = delete;
    CountedLoop& operator=(const CountedLoop&) = delete;
    ~CountedLoop() { _state.counters["allocations"] = static_cast<double>(allocations() - _before); }

private:
    benchmark::State& _state;
    std::uint64_t _before{allocations()};
};

}  // namespace kr_benchmark
