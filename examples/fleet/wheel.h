#pragma once

#include "car_part.h"
#include "quarter_car.h"

namespace fleet {

/// The unsprung mass: wheel, hub, brake and a part of the suspension.
class Wheel final : public CarPart {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "d72d8c92-19f1-48f0-ab3f-fd511beb63ab";

    explicit Wheel(KrSim::KrExtension* proxy) : CarPart(proxy, kVersion) {}

    void step(double seconds) override {
        Motion motion{position, velocity};
        moveMass(mass, tyreForce + suspensionForce, seconds, motion);
        acceleration = motion.acceleration;
        velocity = motion.velocity;
        position = motion.position;
    }

    KrSim::Input<double> tyreForce{this, "Tyre Force", {.dimension = Kr::kForce, .description = "Upwards."}};
    KrSim::Input<double> suspensionForce{
        this, "Suspension Force", {.dimension = Kr::kForce, .description = "Upwards: that of a stretched suspension."}};
    KrSim::Parameter<double> mass{this,
                                  "Mass",
                                  {.value = CarSettings{}.wheelMass,
                                   .min = 1.0,
                                   .max = 1e4,
                                   .dimension = Kr::kMass,
                                   .description = "All that moves with the wheel."}};
    KrSim::Output<double> position{this, "Position", {.dimension = Kr::kLength, .description = "Above that at rest."}};
    KrSim::Output<double> velocity{this, "Velocity", {.dimension = Kr::kSpeed, .description = "Upwards."}};
    KrSim::Output<double> acceleration{
        this, "Acceleration", {.dimension = Kr::kAcceleration, .description = "In the last step."}};
};

}  // namespace fleet
