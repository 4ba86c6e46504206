#pragma once

#include <chrono>
#include <thread>

namespace kr_benchmark {

/// The C library drops the lock prefix of atomics while a process has one thread; simulators have more. A program that
/// includes this has a second one, which sleeps.
inline const bool kSecondThreadRuns = [] {
    std::thread([] { std::this_thread::sleep_for(std::chrono::hours(1)); }).detach();
    return true;
}();

}  // namespace kr_benchmark
