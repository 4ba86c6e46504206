#pragma once

// The models of the car as plain functions: what the extensions compute in a step, without fields and connections. SI
// units throughout. docs/drive-cycle.md has the equations.

struct DriverSettings {
    double gain = 1.5;                   ///< 1/s, acceleration per error of speed
    double resetSeconds = 4.0;           ///< in which an error that stays is answered twofold
    double fullPedalAcceleration = 4.8;  ///< m/s2, what the driver believes a full pedal to do
    double rollingDeceleration = 0.095;  ///< m/s2, what the driver believes of the rolling resistance
    double airDeceleration = 2.6e-4;     ///< 1/m, of the air resistance, times speed squared
};

/// The position of the pedals: -1 is full braking, 1 full acceleration.
/// \param deviation  metres that the car is behind; the memory of the controller.
[[nodiscard]] double pressPedal(const DriverSettings& settings, double targetSpeed, double targetAcceleration,
                                double speed, double seconds, double& deviation);

struct DriveSettings {
    double maximumTorque = 250.0;     // N m
    double maximumPower = 80e3;       // W, at the wheels
    double recuperationPower = 30e3;  // W, at the wheels
    double recuperationSpeed = 3.0;   ///< m/s, below which recuperation fades
    double gearRatio = 9.0;           ///< turns of the motor to one of the wheels
    double wheelRadius = 0.3;         // m
    double efficiency = 0.9;          ///< of motor, inverter and gear, either way
    double auxiliaryPower = 300.0;    // W
    double voltage = 350.0;           ///< V, of the battery without load
    double resistance = 0.1;          ///< Ohm, inside the battery
};

struct WheelForces {
    double traction;  ///< N; negative while recuperating
    double brake;     ///< N; 0 or more
};

/// Shares out what the pedal asks for between the motor, within its limits, and the brakes.
/// \param charge  of the battery, 0 to 1: an empty one drives nothing, a full one takes nothing.
[[nodiscard]] WheelForces shareForces(const DriveSettings& settings, double pedal, double speed, double charge);

/// Watts.
struct PowerBalance {
    double battery;  ///< taken out of it; negative while charging
    double driveLoss;
    double batteryLoss;
};

/// \param wheelPower  what the motor does at the wheels; negative while recuperating.
[[nodiscard]] PowerBalance balancePower(const DriveSettings& settings, double wheelPower);

struct VehicleSettings {
    double mass = 1500.0;              // kg
    double rotatingMassFactor = 1.03;  ///< mass to accelerate / mass
    double rollingCoefficient = 0.01;  ///< rolling resistance / weight
    double dragArea = 0.65;            ///< m2, drag coefficient times frontal area
    double airDensity = 1.2;           // kg/m3

    [[nodiscard]] double getInertia() const { return mass * rotatingMassFactor; }
};

/// What has happened in one time step. Works in J, traction = rolling + air + brake + change of the kinetic energy.
struct VehicleStep {
    double speed;     ///< m/s, at its end
    double distance;  // m
    double traction;
    double rolling;
    double air;
    double brake;
};

/// Moves the car on a level road; it never rolls backwards.
[[nodiscard]] VehicleStep moveVehicle(const VehicleSettings& settings, double speed, const WheelForces& forces,
                                      double seconds);
