#pragma once

#include "car_models.h"
#include "car_part.h"

/// Follows the target speed with the pedals.
class Driver final : public CarPart {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "64e6bd19-d39c-4314-9b3e-96784ecce8e1";
    static constexpr DriverSettings kDefaults{};

    explicit Driver(KrSim::KrExtension* proxy) : CarPart(proxy, kVersion) {}

    void step(double seconds) override {
        double behind = deviation;
        pedal = pressPedal({gain, resetTime, fullPedalAcceleration, rollingDeceleration, airDeceleration}, targetSpeed,
                           targetAcceleration, speed, seconds, behind);
        deviation = behind;
    }

    KrSim::Input<double> targetSpeed{
        this, "Target Speed", {.dimension = Kr::kSpeed, .description = "To be reached at the end of the frame."}};
    KrSim::Input<double> targetAcceleration{
        this, "Target Acceleration", {.dimension = Kr::kAcceleration, .description = "Fed forward to the pedals."}};
    KrSim::Input<double> speed{
        this, "Speed", {.dimension = Kr::kSpeed, .description = "As the driver reads it: that of the frame before."}};
    KrSim::Parameter<double> gain{this,
                                  "Gain",
                                  {.value = kDefaults.gain,
                                   .min = 0.0,
                                   .max = 20.0,
                                   .dimension = Kr::kFrequency,
                                   .description = "Wanted acceleration for each m/s of missing speed."}};
    KrSim::Parameter<double> resetTime{
        this,
        "Reset Time",
        {.value = kDefaults.resetSeconds,
         .min = 0.1,
         .max = 1e6,
         .dimension = Kr::kTime,
         .description = "In which an error that stays is answered twofold; long ones turn that off."}};
    KrSim::Parameter<double> fullPedalAcceleration{this,
                                                   "Full Pedal Acceleration",
                                                   {.value = kDefaults.fullPedalAcceleration,
                                                    .min = 0.1,
                                                    .max = 20.0,
                                                    .dimension = Kr::kAcceleration,
                                                    .description = "What the driver believes a full pedal to do."}};
    KrSim::Parameter<double> rollingDeceleration{this,
                                                 "Rolling Deceleration",
                                                 {.value = kDefaults.rollingDeceleration,
                                                  .min = 0.0,
                                                  .max = 1.0,
                                                  .dimension = Kr::kAcceleration,
                                                  .description = "Expected of the rolling resistance."}};
    KrSim::Parameter<double> airDeceleration{
        this,
        "Air Deceleration",
        {.value = kDefaults.airDeceleration,
         .min = 0.0,
         .max = 0.01,
         .description = "Expected of the air resistance: deceleration / speed squared, in 1/m."}};
    KrSim::Output<double> pedal{
        this, "Pedal", {.min = -1.0, .max = 1.0, .dimension = Kr::kRatio, .description = "Below 0: braking."}};
    KrSim::Output<double> deviation{
        this, "Deviation", {.dimension = Kr::kLength, .description = "How far the car is behind since it last stood."}};
};
