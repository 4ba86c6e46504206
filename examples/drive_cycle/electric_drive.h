#pragma once

#include "car_models.h"
#include "car_part.h"

/// Motor, gear and battery: turns the pedals into forces at the wheels, and the work of these into charge.
class ElectricDrive final : public CarPart {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "ccac6b11-4526-4e0c-b6dd-2a39c4e2b415";
    static constexpr DriveSettings kDefaults{};

    explicit ElectricDrive(KrSim::KrExtension* proxy) : CarPart(proxy, kVersion) {}

    void step(double) override {
        charge = initialCharge - batteryEnergy / capacity;
        const auto forces = shareForces(_getSettings(), pedal, speed, charge);
        tractionForce = forces.traction;
        brakeForce = forces.brake;
    }

    /// The distance is known after the car has moved, and so is the work. When the connection that transfers it
    /// delivers later, the battery is one frame behind, and nothing is lost.
    void settle(double seconds) override {
        const double power = (tractionWork - workDone) / seconds;
        const auto balance = balancePower(_getSettings(), power);
        workDone = tractionWork;
        batteryEnergy = batteryEnergy + balance.battery * seconds;
        driveLoss = driveLoss + balance.driveLoss * seconds;
        batteryLoss = batteryLoss + balance.batteryLoss * seconds;
        auxiliaryEnergy = auxiliaryEnergy + auxiliaryPower * seconds;
    }

    KrSim::Input<double> pedal{
        this, "Pedal", {.min = -1.0, .max = 1.0, .dimension = Kr::kRatio, .description = "Below 0: braking."}};
    KrSim::Input<double> speed{
        this,
        "Speed",
        {.dimension = Kr::kSpeed, .description = "Of the car; decides whether torque or power is the limit."}};
    KrSim::Input<double> tractionWork{
        this, "Traction Work", {.dimension = Kr::kEnergy, .description = "Of the traction force since the beginning."}};

    KrSim::Parameter<double> maximumTorque{this,
                                           "Maximum Torque",
                                           {.value = kDefaults.maximumTorque,
                                            .min = 0.0,
                                            .max = 1e4,
                                            .dimension = Kr::kTorque,
                                            .description = "Of the motor."}};
    KrSim::Parameter<double> maximumPower{this,
                                          "Maximum Power",
                                          {.value = kDefaults.maximumPower,
                                           .min = 0.0,
                                           .max = 1e6,
                                           .dimension = Kr::kPower,
                                           .description = "At the wheels."}};
    KrSim::Parameter<double> recuperationPower{this,
                                               "Recuperation Power",
                                               {.value = kDefaults.recuperationPower,
                                                .min = 0.0,
                                                .max = 1e6,
                                                .dimension = Kr::kPower,
                                                .description = "At the wheels, at most; the brakes do the rest."}};
    KrSim::Parameter<double> recuperationSpeed{this,
                                               "Recuperation Speed",
                                               {.value = kDefaults.recuperationSpeed,
                                                .min = 0.1,
                                                .max = 100.0,
                                                .dimension = Kr::kSpeed,
                                                .description = "Below it the recuperation fades."}};
    KrSim::Parameter<double> gearRatio{this,
                                       "Gear Ratio",
                                       {.value = kDefaults.gearRatio,
                                        .min = 0.1,
                                        .max = 100.0,
                                        .dimension = Kr::kRatio,
                                        .description = "Turns of the motor to one of the wheels."}};
    KrSim::Parameter<double> wheelRadius{this,
                                         "Wheel Radius",
                                         {.value = kDefaults.wheelRadius,
                                          .min = 0.05,
                                          .max = 2.0,
                                          .dimension = Kr::kLength,
                                          .description = "Rolling radius of the driven wheels."}};
    KrSim::Parameter<double> efficiency{this,
                                        "Efficiency",
                                        {.value = kDefaults.efficiency,
                                         .min = 0.1,
                                         .max = 1.0,
                                         .dimension = Kr::kRatio,
                                         .description = "Of motor, inverter and gear, driving and recuperating."}};
    KrSim::Parameter<double> auxiliaryPower{this,
                                            "Auxiliary Power",
                                            {.value = kDefaults.auxiliaryPower,
                                             .min = 0.0,
                                             .max = 1e5,
                                             .dimension = Kr::kPower,
                                             .description = "Of all but the motor, at any time."}};
    KrSim::Parameter<double> voltage{this,
                                     "Voltage",
                                     {.value = kDefaults.voltage,
                                      .min = 1.0,
                                      .max = 2000.0,
                                      .dimension = Kr::kVoltage,
                                      .description = "Of the battery without load."}};
    KrSim::Parameter<double> resistance{this,
                                        "Internal Resistance",
                                        {.value = kDefaults.resistance,
                                         .min = 1e-6,
                                         .max = 100.0,
                                         .dimension = Kr::kResistance,
                                         .description = "Of the battery."}};
    KrSim::Parameter<double> capacity{this,
                                      "Capacity",
                                      {.value = 40.0 * 3.6e6,
                                       .min = 1e3,
                                       .max = 1e10,
                                       .dimension = Kr::kEnergy,
                                       .description = "Of the battery, from empty to full."}};
    KrSim::Parameter<double> initialCharge{this,
                                           "Initial Charge",
                                           {.value = 0.8,
                                            .min = 0.0,
                                            .max = 1.0,
                                            .dimension = Kr::kRatio,
                                            .description = "Of the battery when the cycle begins; 1 is full."}};

    KrSim::Output<double> tractionForce{
        this, "Traction Force", {.dimension = Kr::kForce, .description = "At the wheels; below 0: recuperating."}};
    KrSim::Output<double> brakeForce{this, "Brake Force", {.dimension = Kr::kForce, .description = "At the wheels."}};
    KrSim::Output<double> charge{
        this, "Charge", {.dimension = Kr::kRatio, .description = "Of the battery when the frame began; 1 is full."}};
    KrSim::Output<double> batteryEnergy{
        this, "Battery Energy", {.dimension = Kr::kEnergy, .description = "Taken out of it, less what came back."}};
    KrSim::Output<double> driveLoss{
        this, "Drive Loss", {.dimension = Kr::kEnergy, .description = "Of motor, inverter and gear."}};
    KrSim::Output<double> batteryLoss{
        this, "Battery Loss", {.dimension = Kr::kEnergy, .description = "In the internal resistance."}};
    KrSim::Output<double> auxiliaryEnergy{
        this, "Auxiliary Energy", {.dimension = Kr::kEnergy, .description = "Of all but the motor."}};
    KrSim::Output<double> workDone{
        this, "Work Done", {.dimension = Kr::kEnergy, .description = "That part of the traction work that was drawn."}};

private:
    [[nodiscard]] DriveSettings _getSettings() const {
        return {maximumTorque, maximumPower, recuperationPower, recuperationSpeed, gearRatio,
                wheelRadius,   efficiency,   auxiliaryPower,    voltage,           resistance};
    }
};
