#include "drive_report.h"

#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "cycle_table.h"

namespace {

constexpr double kJoulesPerKilowattHour = 3.6e6;

double getOutput(const KrSim::KrObject& car, const char* part, const char* name) {
    const auto* extension = car.findExtensionByName(part, false);
    const auto* output = extension != nullptr ? extension->getOutput(name) : nullptr;
    if (output == nullptr) {
        throw std::runtime_error("'" + car.getName() + "' has no output '" + name + "' of a part '" + part +
                                 "': is it made by the right plug-in?");
    }
    return output->toReal();
}

double toKilowattHours(double joules) {
    return joules / kJoulesPerKilowattHour;
}

const char* verdict(bool isGood) {
    return isGood ? "ok" : "FAILED";
}

}  // namespace

DriveFigures::DriveFigures(const KrSim::KrObject& car)
    : seconds(getOutput(car, "Driving Cycle", "Time")),
      targetDistance(getOutput(car, "Driving Cycle", "Target Distance")),
      distance(getOutput(car, "Vehicle", "Distance")),
      charge(getOutput(car, "Electric Drive", "Charge")),
      batteryEnergy(getOutput(car, "Electric Drive", "Battery Energy")),
      driveLoss(getOutput(car, "Electric Drive", "Drive Loss")),
      batteryLoss(getOutput(car, "Electric Drive", "Battery Loss")),
      auxiliaryEnergy(getOutput(car, "Electric Drive", "Auxiliary Energy")),
      rollingLoss(getOutput(car, "Vehicle", "Rolling Loss")),
      airLoss(getOutput(car, "Vehicle", "Air Loss")),
      brakeLoss(getOutput(car, "Vehicle", "Brake Loss")),
      kineticEnergy(getOutput(car, "Vehicle", "Kinetic Energy")) {}

double DriveFigures::getDistanceError() const {
    return targetDistance > 0.0 ? distance / targetDistance - 1.0 : 0.0;
}

double DriveFigures::getBalanceError() const {
    const double accounted =
        driveLoss + batteryLoss + auxiliaryEnergy + rollingLoss + airLoss + brakeLoss + kineticEnergy;
    return batteryEnergy != 0.0 ? accounted / batteryEnergy - 1.0 : accounted;
}

double DriveFigures::getJoulesPerMetre() const {
    return distance > 0.0 ? batteryEnergy / distance : 0.0;
}

bool printReport(const DriveFigures& figures, double topSpeed) {
    // Times add up to the last digits.
    const bool isWhole = figures.seconds > getEuropeanCycle().back().seconds - 1e-3;
    const double ofTable = getDistanceOf(getEuropeanCycle());
    const bool isDistanceGood = std::abs(figures.getDistanceError()) <= kAllowedDistanceError &&
                                std::abs(figures.distance / ofTable - 1.0) <= kAllowedDistanceError;
    const bool isBalanceGood = std::abs(figures.getBalanceError()) <= kAllowedBalanceError;

    std::printf("  duration         %8.1f s of %.0f s\n", figures.seconds, getEuropeanCycle().back().seconds);
    std::printf("  driven distance  %8.3f km, %+.4f %% of the target %.3f km (0.5 %% allowed: %s)\n",
                figures.distance / 1e3, 100.0 * figures.getDistanceError(), figures.targetDistance / 1e3,
                isWhole ? verdict(isDistanceGood) : "for a whole cycle only");
    std::printf("  top speed        %8.2f km/h\n", 3.6 * topSpeed);
    std::printf("  energy           %8.3f kWh from the battery, now at %.1f %%: %.2f kWh/100 km\n",
                toKilowattHours(figures.batteryEnergy), 100.0 * figures.charge,
                toKilowattHours(figures.getJoulesPerMetre() * 1e5));
    std::printf(
        "      drive %.3f, battery %.3f, auxiliaries %.3f, rolling %.3f, air %.3f, brakes %.3f, kinetic %.3f kWh\n",
        toKilowattHours(figures.driveLoss), toKilowattHours(figures.batteryLoss),
        toKilowattHours(figures.auxiliaryEnergy), toKilowattHours(figures.rollingLoss),
        toKilowattHours(figures.airLoss), toKilowattHours(figures.brakeLoss), toKilowattHours(figures.kineticEnergy));
    std::printf("  energy balance   %8.1e %% open (0.1 %% allowed: %s)\n", 100.0 * std::abs(figures.getBalanceError()),
                verdict(isBalanceGood));
    return isBalanceGood && (isDistanceGood || !isWhole);
}
