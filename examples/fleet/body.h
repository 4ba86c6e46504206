#pragma once

#include "car_part.h"
#include "quarter_car.h"

namespace fleet {

/// The sprung mass: a quarter of the body, with what its passengers feel.
class Body final : public CarPart {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "2a05f1bb-fab9-40e2-94e7-1d31579c53a8";

    explicit Body(KrSim::KrExtension* proxy) : CarPart(proxy, kVersion) {}

    void step(double seconds) override {
        Motion motion{position, velocity};
        Ride ride{peakAcceleration, discomfort};
        moveMass(mass, -suspensionForce, seconds, motion);
        feelRide(motion.acceleration, seconds, ride);
        acceleration = motion.acceleration;
        velocity = motion.velocity;
        position = motion.position;
        peakAcceleration = ride.peakAcceleration;
        discomfort = ride.discomfort;
    }

    KrSim::Input<double> suspensionForce{
        this, "Suspension Force", {.dimension = Kr::kForce, .description = "Downwards."}};
    KrSim::Parameter<double> mass{this,
                                  "Mass",
                                  {.value = CarSettings{}.bodyMass,
                                   .min = 1.0,
                                   .max = 1e5,
                                   .dimension = Kr::kMass,
                                   .description = "A quarter of the body with its load."}};
    KrSim::Output<double> position{this, "Position", {.dimension = Kr::kLength, .description = "Above that at rest."}};
    KrSim::Output<double> velocity{this, "Velocity", {.dimension = Kr::kSpeed, .description = "Upwards."}};
    KrSim::Output<double> acceleration{
        this, "Acceleration", {.dimension = Kr::kAcceleration, .description = "In the last step."}};
    KrSim::Output<double> peakAcceleration{
        this,
        "Peak Acceleration",
        {.min = 0.0, .dimension = Kr::kAcceleration, .description = "Of either sign, since the beginning."}};
    KrSim::Output<double> discomfort{
        this,
        "Discomfort",
        {.min = 0.0, .description = "Integral of the squared acceleration since the beginning, in m2/s3."}};
};

}  // namespace fleet
