#include "car_models.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kGravity = 9.80665;     // m/s2
constexpr double kStandingSpeed = 0.05;  // m/s
constexpr double kStandingPedal = -0.2;  // holds the car
constexpr double kBatteryReserve = 0.9;  // of the power at which its voltage would break down

/// A torque limit that gives way to a power limit.
double limitForce(double force, double power, double speed) {
    return force * speed > power ? power / speed : force;
}

}  // namespace

// A PI controller whose set point is fed forward: textbooks of control call it a two-degree-of-freedom controller.
double pressPedal(const DriverSettings& settings, double targetSpeed, double targetAcceleration, double speed,
                  double seconds, double& deviation) {
    if (targetSpeed <= 0.0 && speed < kStandingSpeed) {
        deviation = 0.0;  // lost metres are not made up for at a red light
        return kStandingPedal;
    }
    const double error = targetSpeed - speed;
    const double resistance = settings.rollingDeceleration + settings.airDeceleration * speed * speed;
    const double wanted = targetAcceleration + resistance + settings.gain * (error + deviation / settings.resetSeconds);
    const double pedal = wanted / settings.fullPedalAcceleration;
    // At the stop the memory would grow without effect.
    if (std::abs(pedal) < 1.0) deviation += error * seconds;
    return std::clamp(pedal, -1.0, 1.0);
}

WheelForces shareForces(const DriveSettings& settings, double pedal, double speed, double charge) {
    const double full = settings.maximumTorque * settings.gearRatio / settings.wheelRadius;
    const double wanted = pedal * full;
    if (wanted >= 0.0) {
        const double breakdown = settings.voltage * settings.voltage / (4.0 * settings.resistance);
        const double available = (kBatteryReserve * breakdown - settings.auxiliaryPower) * settings.efficiency;
        const double power = charge > 0.0 ? std::clamp(available, 0.0, settings.maximumPower) : 0.0;
        return {std::min(wanted, limitForce(full, power, std::max(speed, kStandingSpeed))), 0.0};
    }
    double most = 0.0;
    if (charge < 1.0) {
        most = limitForce(full, settings.recuperationPower, speed);
        most *= std::min(1.0, speed / settings.recuperationSpeed);
    }
    const double recuperated = std::min(-wanted, most);
    return {-recuperated, -wanted - recuperated};
}

// The battery is a voltage source behind a resistor, the simplest equivalent circuit: U I = P + R I^2.
PowerBalance balancePower(const DriveSettings& settings, double wheelPower) {
    const double drive = wheelPower >= 0.0 ? wheelPower / settings.efficiency : wheelPower * settings.efficiency;
    const double terminal = drive + settings.auxiliaryPower;
    const double root =
        std::sqrt(std::max(0.0, settings.voltage * settings.voltage - 4.0 * settings.resistance * terminal));
    const double current = 2.0 * terminal / (settings.voltage + root);
    const double loss = settings.resistance * current * current;
    return {terminal + loss, drive - wheelPower, loss};
}

// Road loads as in every text on vehicle dynamics: F_roll = c m g, F_air = rho / 2 c_d A v^2. The forces are those at
// the beginning of the step, and hold through it; each does the work force x mean speed, so that the works add up to
// the change of the kinetic energy exactly, whatever the length of the step.
VehicleStep moveVehicle(const VehicleSettings& settings, double speed, const WheelForces& forces, double seconds) {
    const double inertia = settings.getInertia();
    const double air = 0.5 * settings.airDensity * settings.dragArea * speed * speed;
    const double rolling = settings.rollingCoefficient * settings.mass * kGravity;
    double traction = forces.traction;
    double friction = rolling + forces.brake;
    double next = speed + (traction - air - friction) / inertia * seconds;
    if (next <= 0.0) {
        // It stops before the end of the step. Friction is as large as necessary, and never drives.
        next = 0.0;
        friction = traction - air + inertia * speed / seconds;
        if (friction < 0.0) {
            traction -= friction;
            friction = 0.0;
        }
    }
    const double distance = 0.5 * (speed + next) * seconds;
    const double rollingShare = rolling + forces.brake > 0.0 ? rolling / (rolling + forces.brake) : 0.0;
    const double rolled = friction * rollingShare;
    return {next, distance, traction * distance, rolled * distance, air * distance, (friction - rolled) * distance};
}
