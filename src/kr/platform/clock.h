#pragma once

#include <span>

#include "kr/platform/export.h"

namespace Kr {

/// Monotonic time, and waiting for it. Code that waits or measures takes a clock, so that tests can replace it.
/// Thread: any; implementations must allow it. Ownership: none.
class KR_API IClock {
public:
    IClock() = default;
    IClock(const IClock&) = delete;
    IClock& operator=(const IClock&) = delete;
    virtual ~IClock();

    /// Seconds since a fixed moment; never decreases, unaffected by changes of the wall clock.
    [[nodiscard]] virtual double getSeconds() const = 0;
    /// Blocks the calling thread for at least this long; returns immediately for zero, negative times and NaN.
    virtual void sleep(double seconds) = 0;
    /// Blocks the calling thread until getSeconds() is at least this; returns immediately for the past and for NaN.
    virtual void sleepUntil(double seconds) { sleep(seconds - getSeconds()); }
    /// The largest expected lateness of a sleep, in seconds. A caller that must be in time sleeps this much shorter and
    /// spins for the rest.
    [[nodiscard]] virtual double getResolution() const = 0;
};

/// The steady clock of the system. Seconds count from a moment before the program started.
///
/// The clock ticks in nanoseconds, but a sleeping thread wakes up 50 to several hundred microseconds late. The
/// resolution is this lateness, measured with the first call of getResolution (about 3 ms): twice the median of a few
/// short sleeps, at least 200 us and at most 1 ms.
/// Thread: any. Ownership: one instance, never destroyed.
class KR_API SteadyClock final : public IClock {
public:
    /// The one instance.
    static SteadyClock& instance();

    [[nodiscard]] double getSeconds() const override;
    void sleep(double seconds) override;
    void sleepUntil(double seconds) override;
    [[nodiscard]] double getResolution() const override;
    /// The resolution calculated from the lateness of some sleeps, in seconds; 200 us without any. Reorders them.
    [[nodiscard]] static double resolutionFrom(std::span<double> lateness);

private:
    SteadyClock() = default;
};

}  // namespace Kr
