#pragma once

#include "car_part.h"
#include "cycle_table.h"

/// Tells how fast to drive: the New European Driving Cycle, then standing.
class DrivingCycle final : public CarPart {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "0110ead8-122c-4af4-9141-a3493b68768e";

    explicit DrivingCycle(KrSim::KrExtension* proxy) : CarPart(proxy, kVersion) {}

    void step(double seconds) override {
        const double before = targetSpeed;
        if (running) time = time + seconds;
        targetSpeed = speedFactor * getSpeedAt(getEuropeanCycle(), time);
        targetAcceleration = (targetSpeed - before) / seconds;
        targetDistance = targetDistance + 0.5 * (before + targetSpeed) * seconds;
    }

    KrSim::Input<bool> running{this, "Running", {.value = true, .description = "While false, the cycle stands still."}};
    KrSim::Parameter<double> speedFactor{this,
                                         "Speed Factor",
                                         {.value = 1.0,
                                          .min = 0.0,
                                          .max = 1.2,
                                          .dimension = Kr::kRatio,
                                          .description = "Target speed / speed in the table of the cycle."}};
    KrSim::Output<double> time{this, "Time", {.dimension = Kr::kTime, .description = "Since the cycle began."}};
    KrSim::Output<double> targetSpeed{
        this, "Target Speed", {.dimension = Kr::kSpeed, .description = "To be reached at the end of the frame."}};
    KrSim::Output<double> targetAcceleration{
        this, "Target Acceleration", {.dimension = Kr::kAcceleration, .description = "Mean of the frame."}};
    KrSim::Output<double> targetDistance{
        this, "Target Distance", {.dimension = Kr::kLength, .description = "Of a car that keeps to the target speed."}};
};
