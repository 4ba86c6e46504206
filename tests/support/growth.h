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

/// How many times as much processor time `work(4 * size)` takes as `work(size)`: about 4 where the time grows with the
/// size, 16 where it grows with its square. What a test expects lies in between: 10. The best of 20 runs each, by
/// turns, so that other programs of the machine disturb some of them only.
template <class Work>
double measureGrowth(int size, const Work& work) {
    const auto measure = [&](int count, double& shortest) {
        const double begin = processorTime();
        work(count);
        shortest = std::min(shortest, processorTime() - begin);
    };
    double small = std::numeric_limits<double>::infinity();
    double large = small;
    for (int run = 0; run < 20; ++run) {
        measure(size, small);
        measure(4 * size, large);
    }
    return large / small;
}

}  // namespace test_support
