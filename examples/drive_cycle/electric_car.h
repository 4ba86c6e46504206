#pragma once

#include <kr/foundation.h>

/// A car with all that drives it: cycle, driver, electric drive and vehicle, connected. The speed of the vehicle, and
/// its work, go back to where a frame begins over queued connections, which do not order.
///
/// A new car is ready to run. A copy takes the parts and connections of its original instead: both are content, so the
/// car need not know of them later.
class ElectricCar final : public KrSim::IObject {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "dd031425-9106-4b42-ba84-1c752e63b2d7";

    explicit ElectricCar(KrSim::KrObject* proxy);
    ~ElectricCar() override;

private:
    template <class Part>
    [[nodiscard]] Part& _add(const char* name);
};
