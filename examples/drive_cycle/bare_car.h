#pragma once

#include "car_models.h"
#include "cycle_table.h"

/// The same car without the library: its models in the order of a frame, on plain numbers. Its results are those of the
/// extensions to the last bit, and what it takes is the models' share of the time.
struct BareCar {
    DriverSettings driver{};
    DriveSettings drive{};
    VehicleSettings vehicle{};
    double initialCharge = 0.8;
    double capacity = 40.0 * 3.6e6;

    double time = 0.0;
    double targetSpeed = 0.0;
    double targetDistance = 0.0;
    double deviation = 0.0;
    double speed = 0.0;
    double distance = 0.0;
    double tractionWork = 0.0;
    double batteryEnergy = 0.0;
    double driveLoss = 0.0;
    double batteryLoss = 0.0;
    double auxiliaryEnergy = 0.0;
    double rollingLoss = 0.0;
    double airLoss = 0.0;
    double brakeLoss = 0.0;

    void step(double seconds);
};
