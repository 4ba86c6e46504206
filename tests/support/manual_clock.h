#pragma once

#include "kr/platform/clock.h"

namespace test_support {

/// Time that passes only when the test says so. For one thread.
class ManualClock final : public Kr::IClock {
public:
    [[nodiscard]] double getSeconds() const override { return _now; }
    void sleep(double seconds) override {
        if (seconds > 0.0) _now += seconds;
    }
    [[nodiscard]] double getResolution() const override { return 0.0; }

private:
    double _now{1000.0};
};

}  // namespace test_support
