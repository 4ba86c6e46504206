#pragma once

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

namespace test_support {

inline constexpr int kStressThreads = 8;

/// Rounds of a stress test: many where the thread sanitizer looks for races, few where only the outcome is looked at.
constexpr int stressRounds([[maybe_unused]] int underThreadSanitizer, [[maybe_unused]] int otherwise) {
#ifdef __SANITIZE_THREAD__
    return underThreadSanitizer;
#else
    return otherwise;
#endif
}

/// Calls work(thread, round) for all rounds on eight threads that begin together; meanwhile this thread calls frame(),
/// and once more after their end.
template <class Work, class Frame>
void runStress(int rounds, const Work& work, const Frame& frame) {
    std::latch start(kStressThreads);
    std::atomic<int> left{kStressThreads};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kStressThreads; ++thread) {
        threads.emplace_back([&, thread] {
            start.arrive_and_wait();
            for (int round = 0; round < rounds; ++round)
                work(thread, round);
            --left;
        });
    }
    while (left > 0) {
        frame();
        std::this_thread::yield();
    }
    for (auto& thread : threads)
        thread.join();
    frame();
}

}  // namespace test_support
