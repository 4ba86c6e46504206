#pragma once

#include <kr/foundation.h>

/// What a car has done, read from the outputs of its parts. SI units.
struct DriveFigures {
    /// Throws std::runtime_error when a part or an output is missing.
    explicit DriveFigures(const KrSim::KrObject& car);

    double seconds;  ///< time in the cycle
    double targetDistance;
    double distance;
    double charge;
    double batteryEnergy;
    double driveLoss;
    double batteryLoss;
    double auxiliaryEnergy;
    double rollingLoss;
    double airLoss;
    double brakeLoss;
    double kineticEnergy;

    /// The share of the target distance that was driven too much.
    [[nodiscard]] double getDistanceError() const;
    /// The share of the battery's energy that is neither lost nor kinetic.
    [[nodiscard]] double getBalanceError() const;
    [[nodiscard]] double getJoulesPerMetre() const;
};

/// The share of the distance that a whole cycle may be off.
inline constexpr double kAllowedDistanceError = 0.005;
inline constexpr double kAllowedBalanceError = 0.001;

/// Prints the figures with a verdict. A distance is checked once the whole cycle was driven, the balance always.
/// \return  whether all that was checked is within its limits.
[[nodiscard]] bool printReport(const DriveFigures& figures, double topSpeed);
