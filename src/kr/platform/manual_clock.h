#pragma once

#include "kr/platform/clock.h"
#include "kr/platform/export.h"

namespace Kr {

/// Time that advances only when the owner of the clock says so, for tests and for hosts that replay. Sleeping advances
/// it and returns immediately.
/// Thread: one at a time. Ownership: none.
class KR_API ManualClock final : public IClock {
public:
    /// \param seconds  the initial time.
    explicit ManualClock(double seconds = 1000.0) noexcept;

    [[nodiscard]] double getSeconds() const override { return _seconds; }
    /// The same as advance.
    void sleep(double seconds) override { advance(seconds); }
    /// 0: a sleep is never late.
    [[nodiscard]] double getResolution() const override { return 0.0; }

    /// Zero, negative times and NaN change nothing.
    void advance(double seconds) noexcept;
    /// May go back, for code that replays; an application that runs meanwhile must get its position restored, too.
    void setSeconds(double seconds) noexcept { _seconds = seconds; }

private:
    double _seconds;
};

}  // namespace Kr
