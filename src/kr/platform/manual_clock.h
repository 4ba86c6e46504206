#pragma once

#include "kr/platform/clock.h"
#include "kr/platform/export.h"

namespace Kr {

/// Time that passes only when its owner says so, for tests and for hosts that replay. Sleeping advances it and takes no
/// time. For one thread.
class KR_API ManualClock final : public IClock {
public:
    /// \param seconds  what the clock shows at first.
    explicit ManualClock(double seconds = 1000.0) noexcept;

    [[nodiscard]] double getSeconds() const override { return _seconds; }
    /// The same as advance.
    void sleep(double seconds) override { advance(seconds); }
    /// 0: a sleep ends in time.
    [[nodiscard]] double getResolution() const override { return 0.0; }

    /// Zero, negative times and NaN change nothing.
    void advance(double seconds) noexcept;
    /// May go back, for code that replays; an application that runs meanwhile gets its position restored, too.
    void setSeconds(double seconds) noexcept { _seconds = seconds; }

private:
    double _seconds;
};

}  // namespace Kr
