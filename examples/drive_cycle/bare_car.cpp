#include "bare_car.h"

void BareCar::step(double seconds) {
    const double before = targetSpeed;
    time += seconds;
    targetSpeed = getSpeedAt(getEuropeanCycle(), time);
    targetDistance += 0.5 * (before + targetSpeed) * seconds;
    const double pedal = pressPedal(driver, targetSpeed, (targetSpeed - before) / seconds, speed, seconds, deviation);
    const auto forces = shareForces(drive, pedal, speed, initialCharge - batteryEnergy / capacity);
    const auto moved = moveVehicle(vehicle, speed, forces, seconds);
    speed = moved.speed;
    distance += moved.distance;
    rollingLoss += moved.rolling;
    airLoss += moved.air;
    brakeLoss += moved.brake;
    const double workBefore = tractionWork;
    tractionWork += moved.traction;
    const auto balance = balancePower(drive, (tractionWork - workBefore) / seconds);
    batteryEnergy += balance.battery * seconds;
    driveLoss += balance.driveLoss * seconds;
    batteryLoss += balance.batteryLoss * seconds;
    auxiliaryEnergy += drive.auxiliaryPower * seconds;
}
