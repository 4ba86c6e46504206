#include "kr/core/unit_system.h"

#include <algorithm>
#include <iterator>

namespace Kr {
namespace {

using Hint = KrPhysicalDimension::eDimensionHint;

struct Counterpart {
    Hint unit;
    Hint other;
};

// Units that only SI has, with the US customary unit of about the same use. A unit in neither table is of both systems.
constexpr Counterpart kToUSCustomary[] = {
    {Hint::kMetre, Hint::kFoot},
    {Hint::kMillimetre, Hint::kInch},
    {Hint::kCentimetre, Hint::kInch},
    {Hint::kKilometre, Hint::kMile},
    {Hint::kMicrometre, Hint::kInch},
    {Hint::kKilogram, Hint::kPound},
    {Hint::kGram, Hint::kOunce},
    {Hint::kTonne, Hint::kPound},
    {Hint::kKelvin, Hint::kDegreeFahrenheit},
    {Hint::kDegreeCelsius, Hint::kDegreeFahrenheit},
    {Hint::kMetrePerSecond, Hint::kFootPerSecond},
    {Hint::kKilometrePerHour, Hint::kMilePerHour},
    {Hint::kMillimetrePerSecond, Hint::kInchPerSecond},
    {Hint::kMetrePerSecondSquared, Hint::kFootPerSecondSquared},
    {Hint::kNewton, Hint::kPoundForce},
    {Hint::kKilonewton, Hint::kPoundForce},
    {Hint::kKilogramForce, Hint::kPoundForce},
    {Hint::kMeganewton, Hint::kPoundForce},
    {Hint::kNewtonMetre, Hint::kPoundFoot},
    {Hint::kKilonewtonMetre, Hint::kPoundFoot},
    {Hint::kJoule, Hint::kFootPound},
    {Hint::kKilojoule, Hint::kBritishThermalUnit},
    {Hint::kMegajoule, Hint::kBritishThermalUnit},
    {Hint::kWatt, Hint::kMechanicalHorsepower},
    {Hint::kKilowatt, Hint::kMechanicalHorsepower},
    {Hint::kMetricHorsepower, Hint::kMechanicalHorsepower},
    {Hint::kMegawatt, Hint::kMechanicalHorsepower},
    {Hint::kPascal, Hint::kPoundPerSquareInch},
    {Hint::kKilopascal, Hint::kPoundPerSquareInch},
    {Hint::kMegapascal, Hint::kPoundPerSquareInch},
    {Hint::kBar, Hint::kPoundPerSquareInch},
    {Hint::kHectopascal, Hint::kPoundPerSquareInch},
    {Hint::kCubicMetre, Hint::kCubicFoot},
    {Hint::kLitre, Hint::kUSGallon},
    {Hint::kMillilitre, Hint::kCubicInch},
    {Hint::kCubicCentimetre, Hint::kCubicInch},
    {Hint::kCubicMetrePerSecond, Hint::kCubicFootPerSecond},
    {Hint::kLitrePerSecond, Hint::kUSGallonPerMinute},
    {Hint::kLitrePerMinute, Hint::kUSGallonPerMinute},
    {Hint::kCubicMetrePerHour, Hint::kCubicFootPerMinute},
    {Hint::kSquareMetre, Hint::kSquareFoot},
    {Hint::kSquareCentimetre, Hint::kSquareInch},
    {Hint::kSquareMillimetre, Hint::kSquareInch},
    {Hint::kHectare, Hint::kAcre},
    {Hint::kSquareKilometre, Hint::kSquareMile},
    {Hint::kKilogramPerCubicMetre, Hint::kPoundPerCubicFoot},
    {Hint::kGramPerCubicCentimetre, Hint::kPoundPerCubicFoot},
    {Hint::kKilogramPerSecond, Hint::kPoundPerSecond},
    {Hint::kKilogramPerHour, Hint::kPoundPerHour},
    {Hint::kTonnePerHour, Hint::kPoundPerHour},
    {Hint::kNewtonSecond, Hint::kPoundForceSecond},
    {Hint::kKilogramSquareMetre, Hint::kPoundSquareFoot},
    {Hint::kNewtonPerMetre, Hint::kPoundForcePerFoot},
    {Hint::kNewtonPerMillimetre, Hint::kPoundForcePerInch},
    {Hint::kKilonewtonPerMetre, Hint::kPoundForcePerInch},
    {Hint::kNewtonSecondPerMetre, Hint::kPoundForceSecondPerFoot},
    {Hint::kKilonewtonSecondPerMetre, Hint::kPoundForceSecondPerFoot},
};

constexpr Counterpart kToSI[] = {
    {Hint::kInch, Hint::kMillimetre},
    {Hint::kFoot, Hint::kMetre},
    {Hint::kYard, Hint::kMetre},
    {Hint::kMile, Hint::kKilometre},
    {Hint::kPound, Hint::kKilogram},
    {Hint::kOunce, Hint::kGram},
    {Hint::kDegreeFahrenheit, Hint::kDegreeCelsius},
    {Hint::kMilePerHour, Hint::kKilometrePerHour},
    {Hint::kFootPerSecond, Hint::kMetrePerSecond},
    {Hint::kInchPerSecond, Hint::kMillimetrePerSecond},
    {Hint::kFootPerSecondSquared, Hint::kMetrePerSecondSquared},
    {Hint::kPoundForce, Hint::kNewton},
    {Hint::kPoundFoot, Hint::kNewtonMetre},
    {Hint::kPoundInch, Hint::kNewtonMetre},
    {Hint::kFootPound, Hint::kJoule},
    {Hint::kBritishThermalUnit, Hint::kKilojoule},
    {Hint::kMechanicalHorsepower, Hint::kKilowatt},
    {Hint::kPoundPerSquareInch, Hint::kKilopascal},
    {Hint::kUSGallon, Hint::kLitre},
    {Hint::kCubicFoot, Hint::kCubicMetre},
    {Hint::kCubicInch, Hint::kCubicCentimetre},
    {Hint::kUSGallonPerMinute, Hint::kLitrePerMinute},
    {Hint::kCubicFootPerSecond, Hint::kCubicMetrePerSecond},
    {Hint::kCubicFootPerMinute, Hint::kCubicMetrePerHour},
    {Hint::kSquareFoot, Hint::kSquareMetre},
    {Hint::kSquareInch, Hint::kSquareCentimetre},
    {Hint::kAcre, Hint::kHectare},
    {Hint::kSquareMile, Hint::kSquareKilometre},
    {Hint::kPoundPerCubicFoot, Hint::kKilogramPerCubicMetre},
    {Hint::kPoundPerSecond, Hint::kKilogramPerSecond},
    {Hint::kPoundPerHour, Hint::kKilogramPerHour},
    {Hint::kPoundForceSecond, Hint::kNewtonSecond},
    {Hint::kPoundSquareFoot, Hint::kKilogramSquareMetre},
    {Hint::kPoundForcePerFoot, Hint::kNewtonPerMetre},
    {Hint::kPoundForcePerInch, Hint::kNewtonPerMillimetre},
    {Hint::kPoundForceSecondPerFoot, Hint::kNewtonSecondPerMetre},
};

/// The unit of the system that stands for this one; kNone for a unit of the system.
Hint findCounterpart(Hint hint, eUnitSystem system) noexcept {
    const auto find = [&](const auto& table) {
        const auto* each = std::find_if(std::begin(table), std::end(table),
                                        [&](const Counterpart& counterpart) { return counterpart.unit == hint; });
        return each == std::end(table) ? Hint::kNone : each->other;
    };
    return system == eUnitSystem::kUSCustomary ? find(kToUSCustomary) : find(kToSI);
}

}  // namespace

bool isUnitOf(Hint hint, eUnitSystem system) noexcept {
    return KrPhysicalDimension::getUnit(hint) != nullptr && findCounterpart(hint, system) == Hint::kNone;
}

Hint chooseUnit(KrPhysicalDimension::ePhysicalDimension dimension, Hint hint,
                std::optional<eUnitSystem> system) noexcept {
    const auto units = KrPhysicalDimension::getUnits(dimension);
    if (units.empty()) return Hint::kNone;
    const bool isOfDimension = KrPhysicalDimension::dimensionOf(hint) == dimension;
    const Hint unit = isOfDimension ? hint : units.front().hint;
    const Hint counterpart = system ? findCounterpart(unit, *system) : Hint::kNone;
    return counterpart == Hint::kNone ? unit : counterpart;
}

}  // namespace Kr
