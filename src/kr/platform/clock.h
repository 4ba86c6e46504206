#pragma once

#include <span>

#include "kr/platform/export.h"

namespace Kr {

/// Monotonic time and the waiting for it. Code that waits or measures takes a clock, so that tests can hand it a time
/// of their own. Implementations must be usable from any thread.
class KR_API IClock {
public:
    IClock() = default;
    IClock(const IClock&) = delete;
    IClock& operator=(const IClock&) = delete;
    virtual ~IClock();

    /// Seconds since a fixed moment; never goes back, unaffected by changes of the wall clock.
    [[nodiscard]] virtual double getSeconds() const = 0;
    /// Blocks the calling thread for at least this long; returns at once for zero, negative times and NaN.
    virtual void sleep(double seconds) = 0;
    /// Blocks the calling thread until getSeconds() is at least this; returns at once for the past and for NaN.
    virtual void sleepUntil(double seconds) { sleep(seconds - getSeconds()); }
    /// How late a sleep may end, in seconds. A caller that must not be late sleeps this much shorter and spins the
    /// rest.
    [[nodiscard]] virtual double getResolution() const = 0;
};

/// The steady clock of the system. Seconds count from a moment before the program; the resolution is measured.
///
/// The clock itself ticks in nanoseconds, but a sleeping thread wakes up 50 to several hundred microseconds late; that
/// is the resolution. It is measured with the first call (about 3 ms), then kept: twice the median lateness of a few
/// short sleeps, at least 200 us and at most 1 ms.
class KR_API SteadyClock final : public IClock {
public:
    /// Never destroyed.
    static SteadyClock& instance();

    [[nodiscard]] double getSeconds() const override;
    void sleep(double seconds) override;
    void sleepUntil(double seconds) override;
    [[nodiscard]] double getResolution() const override;
    /// The resolution that follows from how many seconds late some sleeps ended; 200 us when there were none. Changes
    /// the order of the numbers.
    [[nodiscard]] static double resolutionFrom(std::span<double> lateness);

private:
    SteadyClock() = default;
};

}  // namespace Kr
