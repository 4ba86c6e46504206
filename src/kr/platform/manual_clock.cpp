#include "kr/platform/manual_clock.h"

namespace Kr {

ManualClock::ManualClock(double seconds) noexcept : _seconds(seconds) {}

void ManualClock::advance(double seconds) noexcept {
    if (seconds > 0.0) _seconds += seconds;
}

}  // namespace Kr
