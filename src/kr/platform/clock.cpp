#include "kr/platform/clock.h"

#include <time.h>  // clock_nanosleep

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>

namespace Kr {
namespace {

constexpr double kLongest = 1e9;  // thirty years still fit the nanoseconds of the system calls

double measureResolution(SteadyClock& clock) {
    constexpr double kSleepSeconds = 200e-6;
    std::array<double, 9> lateness{};
    for (double& each : lateness) {
        const double start = clock.getSeconds();
        clock.sleep(kSleepSeconds);
        each = clock.getSeconds() - start - kSleepSeconds;
    }
    return SteadyClock::resolutionFrom(lateness);
}

}  // namespace

IClock::~IClock() = default;

SteadyClock& SteadyClock::instance() {
    static auto& clock = *new SteadyClock;
    return clock;
}

double SteadyClock::getSeconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void SteadyClock::sleep(double seconds) {
    if (!(seconds > 0.0)) return;
    std::this_thread::sleep_for(std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(std::min(seconds, kLongest))));
}

// To a moment, not for a time: what happens between reading the clock and falling asleep makes it no later.
void SteadyClock::sleepUntil(double seconds) {
    const double now = getSeconds();
    if (!(seconds > now)) return;
    const auto nanoseconds = static_cast<std::int64_t>(std::min(seconds, now + kLongest) * 1e9);
    const timespec deadline{nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
    }
}

// Twice the median, because half of the sleeps end later than the median. The lower bound is the margin that keeps all
// but stray wake-ups in time even where the median is small; the upper one limits the time spent spinning when the
// machine was busy during the measurement.
double SteadyClock::resolutionFrom(std::span<double> lateness) {
    constexpr double kLowest = 200e-6;
    constexpr double kHighest = 1e-3;
    if (lateness.empty()) return kLowest;
    const auto median = lateness.begin() + static_cast<std::ptrdiff_t>(lateness.size() / 2);
    std::nth_element(lateness.begin(), median, lateness.end());
    return std::clamp(2.0 * *median, kLowest, kHighest);
}

double SteadyClock::getResolution() const {
    static const double resolution = measureResolution(instance());
    return resolution;
}

}  // namespace Kr
