#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kr/platform/export.h"

namespace Kr {

/// The dimension of a number, and the units in which it is shown.
///
/// Values are always stored and copied in SI units; display units are for showing values and for reading input of
/// people. Both enumerations are registered (Kr::KrEnum), and their numbers are stored in content.
/// Thread: any. Ownership: none.
class KR_API KrPhysicalDimension {
public:
    enum class ePhysicalDimension : std::uint8_t {
        kNone = 0,
        kLength = 1,
        kMass = 2,
        kTime = 3,
        kAngle = 4,
        kTemperature = 5,
        kCurrent = 6,
        kSpeed = 7,
        kAcceleration = 8,
        kAngularSpeed = 9,
        kForce = 10,
        kTorque = 11,
        kEnergy = 12,
        kPower = 13,
        kPressure = 14,
        kVolume = 15,
        kFlow = 16,  ///< volume per time
        kRatio = 17,
        kAmountOfSubstance = 18,
        kLuminousIntensity = 19,
        kArea = 20,
        kFrequency = 21,
        kAngularAcceleration = 22,
        kDensity = 23,
        kMassFlow = 24,
        kMomentum = 25,
        kMomentOfInertia = 26,
        kStiffness = 27,  ///< force per length
        kDamping = 28,    ///< force per speed
        kVoltage = 29,
        kResistance = 30,
        kCharge = 31,
    };
    static constexpr int kDimensionCount = 32;

    /// A display unit: 256 times its dimension, and its number among the units of that dimension. The first of each
    /// is the SI unit.
    enum class eDimensionHint : std::int32_t {
        kNone = 0,
        kMetre = 0x0101,
        kMillimetre,
        kCentimetre,
        kKilometre,
        kInch,
        kFoot,
        kYard,
        kMile,
        kNauticalMile,
        kMicrometre,
        kKilogram = 0x0201,
        kGram,
        kTonne,
        kPound,
        kOunce,
        kSecond = 0x0301,
        kMillisecond,
        kMicrosecond,
        kMinute,
        kHour,
        kDay,
        kRadian = 0x0401,
        kDegree,
        kRevolution,
        kMilliradian,
        kKelvin = 0x0501,
        kDegreeCelsius,
        kDegreeFahrenheit,
        kAmpere = 0x0601,
        kMilliampere,
        kMetrePerSecond = 0x0701,
        kKilometrePerHour,
        kMilePerHour,
        kKnot,
        kFootPerSecond,
        kMillimetrePerSecond,
        kInchPerSecond,
        kMetrePerSecondSquared = 0x0801,
        kStandardGravity,
        kFootPerSecondSquared,
        kRadianPerSecond = 0x0901,
        kDegreePerSecond,
        kRevolutionPerMinute,
        kNewton = 0x0A01,
        kKilonewton,
        kPoundForce,
        kKilogramForce,
        kMeganewton,
        kNewtonMetre = 0x0B01,
        kKilonewtonMetre,
        kPoundFoot,
        kPoundInch,
        kJoule = 0x0C01,
        kKilojoule,
        kWattHour,
        kKilowattHour,
        kMegajoule,
        kFootPound,
        kBritishThermalUnit,
        kWatt = 0x0D01,
        kKilowatt,
        kMetricHorsepower,
        kMechanicalHorsepower,
        kMegawatt,
        kPascal = 0x0E01,
        kKilopascal,
        kMegapascal,
        kBar,
        kPoundPerSquareInch,
        kAtmosphere,
        kHectopascal,
        kCubicMetre = 0x0F01,
        kLitre,
        kMillilitre,
        kCubicCentimetre,
        kUSGallon,
        kCubicFoot,
        kCubicInch,
        kCubicMetrePerSecond = 0x1001,
        kLitrePerSecond,
        kLitrePerMinute,
        kCubicMetrePerHour,
        kUSGallonPerMinute,
        kCubicFootPerSecond,
        kCubicFootPerMinute,
        kOne = 0x1101,
        kPercent,
        kPerMille,
        kMole = 0x1201,
        kCandela = 0x1301,
        kSquareMetre = 0x1401,
        kSquareCentimetre,
        kSquareMillimetre,
        kHectare,
        kSquareKilometre,
        kSquareFoot,
        kSquareInch,
        kAcre,
        kSquareMile,
        kHertz = 0x1501,
        kKilohertz,
        kMegahertz,
        kRadianPerSecondSquared = 0x1601,
        kDegreePerSecondSquared,
        kKilogramPerCubicMetre = 0x1701,
        kGramPerCubicCentimetre,
        kPoundPerCubicFoot,
        kKilogramPerSecond = 0x1801,
        kKilogramPerHour,
        kTonnePerHour,
        kPoundPerSecond,
        kPoundPerHour,
        kNewtonSecond = 0x1901,
        kPoundForceSecond,
        kKilogramSquareMetre = 0x1A01,
        kPoundSquareFoot,
        kNewtonPerMetre = 0x1B01,
        kNewtonPerMillimetre,
        kKilonewtonPerMetre,
        kPoundForcePerFoot,
        kPoundForcePerInch,
        kNewtonSecondPerMetre = 0x1C01,
        kKilonewtonSecondPerMetre,
        kPoundForceSecondPerFoot,
        kVolt = 0x1D01,
        kMillivolt,
        kKilovolt,
        kOhm = 0x1E01,
        kKilohm,
        kCoulomb = 0x1F01,
        kAmpereHour,
    };

    /// SI value = display value * factor + offset.
    struct Unit {
        eDimensionHint hint;
        const char* name;         ///< "Kilometre per hour"; unique
        const char* symbol;       ///< "km/h", UTF-8
        const char* plainSymbol;  ///< the symbol as typed on any keyboard ("m^2")
        double factor;
        double offset;
    };

    /// "Length", "Angular speed", ...; "Invalid physical dimension" for a number that is no dimension.
    [[nodiscard]] static const char* nameFor(ePhysicalDimension dimension) noexcept;

    /// The display units of a dimension, the SI unit first; none for kNone and for a number that is no dimension.
    [[nodiscard]] static std::span<const Unit> getUnits(ePhysicalDimension dimension) noexcept;
    /// The unit of a hint, or null for kNone and for a number that is no hint.
    [[nodiscard]] static const Unit* getUnit(eDimensionHint hint) noexcept;
    /// The dimension that a display unit measures; kNone when there is no such unit.
    [[nodiscard]] static ePhysicalDimension dimensionOf(eDimensionHint hint) noexcept;

    /// From and to a display unit. A hint without a unit leaves the value unchanged.
    [[nodiscard]] static double toSI(double value, eDimensionHint hint) noexcept;
    [[nodiscard]] static double fromSI(double valueSI, eDimensionHint hint) noexcept;

    /// The value with its unit, as in "12.5 km/h": in the unit of the hint if that is one of the dimension, else in the
    /// SI unit. Numbers in SI units read back exactly; others have the 15 to 17 digits that read back within one unit
    /// in the last place (of the offset of the unit, where that is larger). Does not depend on the locale.
    [[nodiscard]] static std::string format(double valueSI, ePhysicalDimension dimension,
                                            eDimensionHint hint = eDimensionHint::kNone);
    /// Reads a finite number and an optional unit of the dimension ("12.5 km/h", "12.5km/h"), with blanks around them,
    /// and returns the value in SI units. Units are read in all spellings of kr/core/unit_spelling.h ("5 m/s2",
    /// "10 N m", "3 knots"). A number without a unit is in the unit that `format` would use. Empty for any
    /// other text: no number, one too large, "inf" or "nan", an unknown or wrong unit. Does not depend on the locale.
    [[nodiscard]] static std::optional<double> parse(std::string_view text, ePhysicalDimension dimension,
                                                     eDimensionHint hint = eDimensionHint::kNone) noexcept;
};

// Short names for authors of fields.
inline constexpr auto kLength = KrPhysicalDimension::ePhysicalDimension::kLength;
inline constexpr auto kMass = KrPhysicalDimension::ePhysicalDimension::kMass;
inline constexpr auto kTime = KrPhysicalDimension::ePhysicalDimension::kTime;
inline constexpr auto kAngle = KrPhysicalDimension::ePhysicalDimension::kAngle;
inline constexpr auto kTemperature = KrPhysicalDimension::ePhysicalDimension::kTemperature;
inline constexpr auto kCurrent = KrPhysicalDimension::ePhysicalDimension::kCurrent;
inline constexpr auto kSpeed = KrPhysicalDimension::ePhysicalDimension::kSpeed;
inline constexpr auto kAcceleration = KrPhysicalDimension::ePhysicalDimension::kAcceleration;
inline constexpr auto kAngularSpeed = KrPhysicalDimension::ePhysicalDimension::kAngularSpeed;
inline constexpr auto kForce = KrPhysicalDimension::ePhysicalDimension::kForce;
inline constexpr auto kTorque = KrPhysicalDimension::ePhysicalDimension::kTorque;
inline constexpr auto kEnergy = KrPhysicalDimension::ePhysicalDimension::kEnergy;
inline constexpr auto kPower = KrPhysicalDimension::ePhysicalDimension::kPower;
inline constexpr auto kPressure = KrPhysicalDimension::ePhysicalDimension::kPressure;
inline constexpr auto kVolume = KrPhysicalDimension::ePhysicalDimension::kVolume;
inline constexpr auto kFlow = KrPhysicalDimension::ePhysicalDimension::kFlow;
inline constexpr auto kRatio = KrPhysicalDimension::ePhysicalDimension::kRatio;
inline constexpr auto kAmountOfSubstance = KrPhysicalDimension::ePhysicalDimension::kAmountOfSubstance;
inline constexpr auto kLuminousIntensity = KrPhysicalDimension::ePhysicalDimension::kLuminousIntensity;
inline constexpr auto kArea = KrPhysicalDimension::ePhysicalDimension::kArea;
inline constexpr auto kFrequency = KrPhysicalDimension::ePhysicalDimension::kFrequency;
inline constexpr auto kAngularAcceleration = KrPhysicalDimension::ePhysicalDimension::kAngularAcceleration;
inline constexpr auto kDensity = KrPhysicalDimension::ePhysicalDimension::kDensity;
inline constexpr auto kMassFlow = KrPhysicalDimension::ePhysicalDimension::kMassFlow;
inline constexpr auto kMomentum = KrPhysicalDimension::ePhysicalDimension::kMomentum;
inline constexpr auto kMomentOfInertia = KrPhysicalDimension::ePhysicalDimension::kMomentOfInertia;
inline constexpr auto kStiffness = KrPhysicalDimension::ePhysicalDimension::kStiffness;
inline constexpr auto kDamping = KrPhysicalDimension::ePhysicalDimension::kDamping;
inline constexpr auto kVoltage = KrPhysicalDimension::ePhysicalDimension::kVoltage;
inline constexpr auto kResistance = KrPhysicalDimension::ePhysicalDimension::kResistance;
inline constexpr auto kCharge = KrPhysicalDimension::ePhysicalDimension::kCharge;

}  // namespace Kr
