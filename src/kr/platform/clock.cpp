#include "kr/platform/clock.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

namespace Kr {
namespace {

/// Twice the median, because half of the sleeps end later than the median. The lower bound is the margin that keeps
/// all but stray wake-ups in time even where the median is small; the upper one limits the time spent spinning when
/// the machine was busy during the measurement.
double measureResolution(SteadyClock& clock) {
    constexpr double kSleepSeconds = 200e-6;
    constexpr double kLowest = 200e-6;
    constexpr double kHighest = 1e-3;
    std::array<double, 9> lateness{};
    for (double& each : lateness) {
        const double start = clock.getSeconds();
        clock.sleep(kSleepSeconds);
        each = clock.getSeconds() - start - kSleepSeconds;
    }
    auto* const median = lateness.begin() + lateness.size() / 2;
    std::nth_element(lateness.begin(), median, lateness.end());
    return std::clamp(2.0 * *median, kLowest, kHighest);
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
    constexpr double kLongest = 1e9;  // thirty years still fit the nanoseconds of the system call
    std::this_thread::sleep_for(std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(std::min(seconds, kLongest))));
}

double SteadyClock::getResolution() const {
    static const double resolution = measureResolution(instance());
    return resolution;
}

}  // namespace Kr
