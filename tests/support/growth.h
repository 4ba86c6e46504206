#pragma once

#include <algorithm>
#include <ctime>
#include <limits>

namespace test_support {

/// Of this thread, in seconds.
inline double processorTime() {
    std::timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// How many times as much processor time `work(4 * size)` takes as `work(size)`, the best of five runs each: about 4
/// where the time grows with the size, 16 where it grows with its square. What a test expects lies in between: 10.
template <class Work>
double measureGrowth(int size, const Work& work) {
    const auto best = [&](int count) {
        double shortest = std::numeric_limits<double>::infinity();
        for (int run = 0; run < 5; ++run) {
            const double begin = processorTime();
            work(count);
            shortest = std::min(shortest, processorTime() - begin);
        }
        return shortest;
    };
    const double small = best(size);
    return best(4 * size) / small;
}

}  // namespace test_support
