#include "kr/core/physical_dimension.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

#include "kr/core/unit_spelling.h"
#include "kr/platform/text.h"

namespace Kr {

namespace {

using Dimension = KrPhysicalDimension::ePhysicalDimension;
using Hint = KrPhysicalDimension::eDimensionHint;
using Unit = KrPhysicalDimension::Unit;

// Factors of the international yard and pound agreement, the SI brochure and ISO 80000; the British thermal unit is
// that of the International Steam Table, the acre the international one.
constexpr double kPi = 3.141592653589793;
constexpr double kInch = 0.0254;
constexpr double kFoot = 12.0 * kInch;
constexpr double kPound = 0.45359237;
constexpr double kGravity = 9.80665;
constexpr double kUSGallon = 231.0 * kInch * kInch * kInch;
constexpr double kHour = 3600.0;

// In the order of the hints: by dimension, and by number within it. A unit is found by its place.
constexpr Unit kUnits[] = {
    {Hint::kMetre, "Metre", "m", "m", 1.0, 0.0},
    {Hint::kMillimetre, "Millimetre", "mm", "mm", 1e-3, 0.0},
    {Hint::kCentimetre, "Centimetre", "cm", "cm", 1e-2, 0.0},
    {Hint::kKilometre, "Kilometre", "km", "km", 1e3, 0.0},
    {Hint::kInch, "Inch", "in", "in", kInch, 0.0},
    {Hint::kFoot, "Foot", "ft", "ft", kFoot, 0.0},
    {Hint::kYard, "Yard", "yd", "yd", 3.0 * kFoot, 0.0},
    {Hint::kMile, "Mile", "mi", "mi", 5280.0 * kFoot, 0.0},
    {Hint::kNauticalMile, "Nautical mile", "nmi", "nmi", 1852.0, 0.0},
    {Hint::kMicrometre, "Micrometre", "µm", "um", 1e-6, 0.0},

    {Hint::kKilogram, "Kilogram", "kg", "kg", 1.0, 0.0},
    {Hint::kGram, "Gram", "g", "g", 1e-3, 0.0},
    {Hint::kTonne, "Tonne", "t", "t", 1e3, 0.0},
    {Hint::kPound, "Pound", "lb", "lb", kPound, 0.0},
    {Hint::kOunce, "Ounce", "oz", "oz", kPound / 16.0, 0.0},

    {Hint::kSecond, "Second", "s", "s", 1.0, 0.0},
    {Hint::kMillisecond, "Millisecond", "ms", "ms", 1e-3, 0.0},
    {Hint::kMicrosecond, "Microsecond", "µs", "us", 1e-6, 0.0},
    {Hint::kMinute, "Minute", "min", "min", 60.0, 0.0},
    {Hint::kHour, "Hour", "h", "h", kHour, 0.0},
    {Hint::kDay, "Day", "d", "d", 24.0 * kHour, 0.0},

    {Hint::kRadian, "Radian", "rad", "rad", 1.0, 0.0},
    {Hint::kDegree, "Degree", "°", "deg", kPi / 180.0, 0.0},
    {Hint::kRevolution, "Revolution", "rev", "rev", 2.0 * kPi, 0.0},
    {Hint::kMilliradian, "Milliradian", "mrad", "mrad", 1e-3, 0.0},

    {Hint::kKelvin, "Kelvin", "K", "K", 1.0, 0.0},
    {Hint::kDegreeCelsius, "Degree Celsius", "°C", "degC", 1.0, 273.15},
    {Hint::kDegreeFahrenheit, "Degree Fahrenheit", "°F", "degF", 5.0 / 9.0, 459.67 * 5.0 / 9.0},

    {Hint::kAmpere, "Ampere", "A", "A", 1.0, 0.0},
    {Hint::kMilliampere, "Milliampere", "mA", "mA", 1e-3, 0.0},

    {Hint::kMetrePerSecond, "Metre per second", "m/s", "m/s", 1.0, 0.0},
    {Hint::kKilometrePerHour, "Kilometre per hour", "km/h", "km/h", 1e3 / kHour, 0.0},
    {Hint::kMilePerHour, "Mile per hour", "mph", "mi/h", 5280.0 * kFoot / kHour, 0.0},
    {Hint::kKnot, "Knot", "kn", "kt", 1852.0 / kHour, 0.0},
    {Hint::kFootPerSecond, "Foot per second", "ft/s", "ft/s", kFoot, 0.0},
    {Hint::kMillimetrePerSecond, "Millimetre per second", "mm/s", "mm/s", 1e-3, 0.0},
    {Hint::kInchPerSecond, "Inch per second", "in/s", "in/s", kInch, 0.0},

    {Hint::kMetrePerSecondSquared, "Metre per second squared", "m/s²", "m/s^2", 1.0, 0.0},
    {Hint::kStandardGravity, "Standard gravity", "g", "g0", kGravity, 0.0},
    {Hint::kFootPerSecondSquared, "Foot per second squared", "ft/s²", "ft/s^2", kFoot, 0.0},

    {Hint::kRadianPerSecond, "Radian per second", "rad/s", "rad/s", 1.0, 0.0},
    {Hint::kDegreePerSecond, "Degree per second", "°/s", "deg/s", kPi / 180.0, 0.0},
    {Hint::kRevolutionPerMinute, "Revolution per minute", "rpm", "1/min", kPi / 30.0, 0.0},

    {Hint::kNewton, "Newton", "N", "N", 1.0, 0.0},
    {Hint::kKilonewton, "Kilonewton", "kN", "kN", 1e3, 0.0},
    {Hint::kPoundForce, "Pound-force", "lbf", "lbf", kPound* kGravity, 0.0},
    {Hint::kKilogramForce, "Kilogram-force", "kgf", "kgf", kGravity, 0.0},
    {Hint::kMeganewton, "Meganewton", "MN", "MN", 1e6, 0.0},

    {Hint::kNewtonMetre, "Newton metre", "N·m", "Nm", 1.0, 0.0},
    {Hint::kKilonewtonMetre, "Kilonewton metre", "kN·m", "kNm", 1e3, 0.0},
    {Hint::kPoundFoot, "Pound-foot", "lbf·ft", "lbf ft", kPound* kGravity* kFoot, 0.0},
    {Hint::kPoundInch, "Pound-inch", "lbf·in", "lbf in", kPound* kGravity* kInch, 0.0},

    {Hint::kJoule, "Joule", "J", "J", 1.0, 0.0},
    {Hint::kKilojoule, "Kilojoule", "kJ", "kJ", 1e3, 0.0},
    {Hint::kWattHour, "Watt hour", "W·h", "Wh", kHour, 0.0},
    {Hint::kKilowattHour, "Kilowatt hour", "kW·h", "kWh", 1e3 * kHour, 0.0},
    {Hint::kMegajoule, "Megajoule", "MJ", "MJ", 1e6, 0.0},
    {Hint::kFootPound, "Foot-pound", "ft·lbf", "ft lbf", kFoot* kPound* kGravity, 0.0},
    {Hint::kBritishThermalUnit, "British thermal unit", "Btu", "Btu", 1055.05585262, 0.0},

    {Hint::kWatt, "Watt", "W", "W", 1.0, 0.0},
    {Hint::kKilowatt, "Kilowatt", "kW", "kW", 1e3, 0.0},
    {Hint::kMetricHorsepower, "Metric horsepower", "PS", "PS", 75.0 * kGravity, 0.0},
    {Hint::kMechanicalHorsepower, "Mechanical horsepower", "hp", "hp", 550.0 * kFoot* kPound* kGravity, 0.0},
    {Hint::kMegawatt, "Megawatt", "MW", "MW", 1e6, 0.0},

    {Hint::kPascal, "Pascal", "Pa", "Pa", 1.0, 0.0},
    {Hint::kKilopascal, "Kilopascal", "kPa", "kPa", 1e3, 0.0},
    {Hint::kMegapascal, "Megapascal", "MPa", "MPa", 1e6, 0.0},
    {Hint::kBar, "Bar", "bar", "bar", 1e5, 0.0},
    {Hint::kPoundPerSquareInch, "Pound per square inch", "psi", "psi", kPound* kGravity / (kInch * kInch), 0.0},
    {Hint::kAtmosphere, "Atmosphere", "atm", "atm", 101325.0, 0.0},
    {Hint::kHectopascal, "Hectopascal", "hPa", "hPa", 1e2, 0.0},

    {Hint::kCubicMetre, "Cubic metre", "m³", "m^3", 1.0, 0.0},
    {Hint::kLitre, "Litre", "L", "l", 1e-3, 0.0},
    {Hint::kMillilitre, "Millilitre", "mL", "ml", 1e-6, 0.0},
    {Hint::kCubicCentimetre, "Cubic centimetre", "cm³", "cm^3", 1e-6, 0.0},
    {Hint::kUSGallon, "US gallon", "gal", "gal", kUSGallon, 0.0},
    {Hint::kCubicFoot, "Cubic foot", "ft³", "ft^3", kFoot* kFoot* kFoot, 0.0},
    {Hint::kCubicInch, "Cubic inch", "in³", "in^3", kInch* kInch* kInch, 0.0},

    {Hint::kCubicMetrePerSecond, "Cubic metre per second", "m³/s", "m^3/s", 1.0, 0.0},
    {Hint::kLitrePerSecond, "Litre per second", "L/s", "l/s", 1e-3, 0.0},
    {Hint::kLitrePerMinute, "Litre per minute", "L/min", "l/min", 1e-3 / 60.0, 0.0},
    {Hint::kCubicMetrePerHour, "Cubic metre per hour", "m³/h", "m^3/h", 1.0 / kHour, 0.0},
    {Hint::kUSGallonPerMinute, "US gallon per minute", "gal/min", "gpm", kUSGallon / 60.0, 0.0},
    {Hint::kCubicFootPerSecond, "Cubic foot per second", "ft³/s", "ft^3/s", kFoot* kFoot* kFoot, 0.0},
    {Hint::kCubicFootPerMinute, "Cubic foot per minute", "ft³/min", "cfm", kFoot* kFoot* kFoot / 60.0, 0.0},

    {Hint::kOne, "One", "", "", 1.0, 0.0},
    {Hint::kPercent, "Percent", "%", "%", 1e-2, 0.0},
    {Hint::kPerMille, "Per mille", "‰", "permille", 1e-3, 0.0},

    {Hint::kMole, "Mole", "mol", "mol", 1.0, 0.0},

    {Hint::kCandela, "Candela", "cd", "cd", 1.0, 0.0},

    {Hint::kSquareMetre, "Square metre", "m²", "m^2", 1.0, 0.0},
    {Hint::kSquareCentimetre, "Square centimetre", "cm²", "cm^2", 1e-4, 0.0},
    {Hint::kSquareMillimetre, "Square millimetre", "mm²", "mm^2", 1e-6, 0.0},
    {Hint::kHectare, "Hectare", "ha", "ha", 1e4, 0.0},
    {Hint::kSquareKilometre, "Square kilometre", "km²", "km^2", 1e6, 0.0},
    {Hint::kSquareFoot, "Square foot", "ft²", "ft^2", kFoot* kFoot, 0.0},
    {Hint::kSquareInch, "Square inch", "in²", "in^2", kInch* kInch, 0.0},
    {Hint::kAcre, "Acre", "ac", "ac", 43560.0 * kFoot* kFoot, 0.0},
    {Hint::kSquareMile, "Square mile", "mi²", "mi^2", 5280.0 * kFoot * 5280.0 * kFoot, 0.0},

    {Hint::kHertz, "Hertz", "Hz", "1/s", 1.0, 0.0},
    {Hint::kKilohertz, "Kilohertz", "kHz", "kHz", 1e3, 0.0},
    {Hint::kMegahertz, "Megahertz", "MHz", "MHz", 1e6, 0.0},

    {Hint::kRadianPerSecondSquared, "Radian per second squared", "rad/s²", "rad/s^2", 1.0, 0.0},
    {Hint::kDegreePerSecondSquared, "Degree per second squared", "°/s²", "deg/s^2", kPi / 180.0, 0.0},

    {Hint::kKilogramPerCubicMetre, "Kilogram per cubic metre", "kg/m³", "kg/m^3", 1.0, 0.0},
    {Hint::kGramPerCubicCentimetre, "Gram per cubic centimetre", "g/cm³", "g/cm^3", 1e3, 0.0},
    {Hint::kPoundPerCubicFoot, "Pound per cubic foot", "lb/ft³", "lb/ft^3", kPound / (kFoot * kFoot * kFoot), 0.0},

    {Hint::kKilogramPerSecond, "Kilogram per second", "kg/s", "kg/s", 1.0, 0.0},
    {Hint::kKilogramPerHour, "Kilogram per hour", "kg/h", "kg/h", 1.0 / kHour, 0.0},
    {Hint::kTonnePerHour, "Tonne per hour", "t/h", "t/h", 1e3 / kHour, 0.0},
    {Hint::kPoundPerSecond, "Pound per second", "lb/s", "lb/s", kPound, 0.0},
    {Hint::kPoundPerHour, "Pound per hour", "lb/h", "lb/h", kPound / kHour, 0.0},

    {Hint::kNewtonSecond, "Newton second", "N·s", "Ns", 1.0, 0.0},
    {Hint::kPoundForceSecond, "Pound-force second", "lbf·s", "lbf s", kPound* kGravity, 0.0},

    {Hint::kKilogramSquareMetre, "Kilogram square metre", "kg·m²", "kg m^2", 1.0, 0.0},
    {Hint::kPoundSquareFoot, "Pound square foot", "lb·ft²", "lb ft^2", kPound* kFoot* kFoot, 0.0},

    {Hint::kNewtonPerMetre, "Newton per metre", "N/m", "N/m", 1.0, 0.0},
    {Hint::kNewtonPerMillimetre, "Newton per millimetre", "N/mm", "N/mm", 1e3, 0.0},
    {Hint::kKilonewtonPerMetre, "Kilonewton per metre", "kN/m", "kN/m", 1e3, 0.0},
    {Hint::kPoundForcePerFoot, "Pound-force per foot", "lbf/ft", "lbf/ft", kPound* kGravity / kFoot, 0.0},
    {Hint::kPoundForcePerInch, "Pound-force per inch", "lbf/in", "lbf/in", kPound* kGravity / kInch, 0.0},

    {Hint::kNewtonSecondPerMetre, "Newton second per metre", "N·s/m", "Ns/m", 1.0, 0.0},
    {Hint::kKilonewtonSecondPerMetre, "Kilonewton second per metre", "kN·s/m", "kNs/m", 1e3, 0.0},
    {Hint::kPoundForceSecondPerFoot, "Pound-force second per foot", "lbf·s/ft", "lbf s/ft", kPound* kGravity / kFoot,
     0.0},

    {Hint::kVolt, "Volt", "V", "V", 1.0, 0.0},
    {Hint::kMillivolt, "Millivolt", "mV", "mV", 1e-3, 0.0},
    {Hint::kKilovolt, "Kilovolt", "kV", "kV", 1e3, 0.0},

    {Hint::kOhm, "Ohm", "Ω", "ohm", 1.0, 0.0},
    {Hint::kKilohm, "Kilohm", "kΩ", "kohm", 1e3, 0.0},

    {Hint::kCoulomb, "Coulomb", "C", "C", 1.0, 0.0},
    {Hint::kAmpereHour, "Ampere hour", "A·h", "Ah", kHour, 0.0},
};

constexpr const char* kDimensionNames[] = {
    "None",
    "Length",
    "Mass",
    "Time",
    "Angle",
    "Temperature",
    "Current",
    "Speed",
    "Acceleration",
    "Angular speed",
    "Force",
    "Torque",
    "Energy",
    "Power",
    "Pressure",
    "Volume",
    "Flow",
    "Ratio",
    "Amount of substance",
    "Luminous intensity",
    "Area",
    "Frequency",
    "Angular acceleration",
    "Density",
    "Mass flow",
    "Momentum",
    "Moment of inertia",
    "Stiffness",
    "Damping",
    "Voltage",
    "Resistance",
    "Charge",
};
static_assert(std::size(kDimensionNames) == KrPhysicalDimension::kDimensionCount);

constexpr int dimensionNumber(Hint hint) {
    return static_cast<int>(hint) >> 8;
}

// Where the units of each dimension begin; one more entry for the end of the last.
using FirstUnits = std::array<std::size_t, KrPhysicalDimension::kDimensionCount + 1>;
constexpr FirstUnits findFirstUnits() {
    FirstUnits first{};
    std::size_t unit = 0;
    for (std::size_t dimension = 0; dimension < first.size(); ++dimension) {
        while (unit < std::size(kUnits) && dimensionNumber(kUnits[unit].hint) < static_cast<int>(dimension))
            ++unit;
        first[dimension] = unit;
    }
    return first;
}
constexpr FirstUnits kFirstUnits = findFirstUnits();

constexpr bool standsInOrderOfHints() {
    for (std::size_t i = 0; i < std::size(kUnits); ++i) {
        const int hint = static_cast<int>(kUnits[i].hint);
        const std::size_t first = kFirstUnits[static_cast<std::size_t>(hint >> 8)];
        if (static_cast<std::size_t>(hint & 0xFF) != i - first + 1) return false;
    }
    return true;
}
static_assert(standsInOrderOfHints());

const Unit* unitToShow(Dimension dimension, Hint hint) noexcept {
    if (KrPhysicalDimension::dimensionOf(hint) == dimension) return KrPhysicalDimension::getUnit(hint);
    const auto units = KrPhysicalDimension::getUnits(dimension);
    return units.empty() ? nullptr : &units.front();
}

// The symbols as they are first: programs write these.
const Unit* findUnit(Dimension dimension, std::string_view symbol) noexcept {
    const auto units = KrPhysicalDimension::getUnits(dimension);
    const auto it = std::find_if(units.begin(), units.end(),
                                 [&](const Unit& unit) { return symbol == unit.symbol || symbol == unit.plainSymbol; });
    return it == units.end() ? findUnitBySpelling(dimension, symbol) : &*it;
}

double getUnitInTheLastPlace(double value) noexcept {
    const double size = std::abs(value);
    return std::nextafter(size, std::numeric_limits<double>::infinity()) - size;
}

// A converted number has the rounding of the conversion, which 15 digits mostly leave out. More digits, or a neighbour,
// are taken only where these read back as another value: a degree Fahrenheit has coarser steps than its kelvins.
std::string toConvertedText(double valueSI, const Unit& unit) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const double shown = KrPhysicalDimension::fromSI(valueSI, unit.hint);
    const double tolerance = getUnitInTheLastPlace(std::max(std::abs(valueSI), std::abs(unit.offset)));
    const std::pair<double, int> candidates[] = {{shown, 15},
                                                 {shown, 16},
                                                 {shown, 17},
                                                 {std::nextafter(shown, kInfinity), 17},
                                                 {std::nextafter(shown, -kInfinity), 17}};
    std::string fallback;
    for (const auto& [number, digits] : candidates) {
        char text[kNumberTextBytes];
        char* const end = std::to_chars(text, std::end(text), number, std::chars_format::general, digits).ptr;
        double read = 0.0;
        std::from_chars(text, end, read);
        if (!(std::abs(KrPhysicalDimension::toSI(read, unit.hint) - valueSI) > tolerance)) return {text, end};
        if (digits == 17 && fallback.empty()) fallback.assign(text, end);
    }
    return fallback;
}

}  // namespace

const char* KrPhysicalDimension::nameFor(ePhysicalDimension dimension) noexcept {
    const auto number = static_cast<std::size_t>(dimension);
    return number < std::size(kDimensionNames) ? kDimensionNames[number] : "Invalid physical dimension";
}

std::span<const Unit> KrPhysicalDimension::getUnits(ePhysicalDimension dimension) noexcept {
    const auto number = static_cast<std::size_t>(dimension);
    if (number >= kDimensionCount) return {};
    return {kUnits + kFirstUnits[number], kUnits + kFirstUnits[number + 1]};
}

const Unit* KrPhysicalDimension::getUnit(eDimensionHint hint) noexcept {
    const int dimension = dimensionNumber(hint);
    if (dimension < 0 || dimension >= kDimensionCount) return nullptr;
    const auto units = getUnits(static_cast<ePhysicalDimension>(dimension));
    const auto number = static_cast<std::size_t>(static_cast<int>(hint) & 0xFF);
    return number >= 1 && number <= units.size() ? &units[number - 1] : nullptr;
}

KrPhysicalDimension::ePhysicalDimension KrPhysicalDimension::dimensionOf(eDimensionHint hint) noexcept {
    return getUnit(hint) ? static_cast<ePhysicalDimension>(dimensionNumber(hint)) : ePhysicalDimension::kNone;
}

double KrPhysicalDimension::toSI(double value, eDimensionHint hint) noexcept {
    const Unit* unit = getUnit(hint);
    return unit ? value * unit->factor + unit->offset : value;
}

double KrPhysicalDimension::fromSI(double valueSI, eDimensionHint hint) noexcept {
    const Unit* unit = getUnit(hint);
    return unit ? (valueSI - unit->offset) / unit->factor : valueSI;
}

std::string KrPhysicalDimension::format(double valueSI, ePhysicalDimension dimension, eDimensionHint hint) {
    const Unit* unit = unitToShow(dimension, hint);
    // A finite value stays one: 1e308 m are too many millimetres for a number.
    if (unit && std::isfinite(valueSI) && !std::isfinite(fromSI(valueSI, unit->hint))) unit = &getUnits(dimension)[0];
    const bool isSI = !unit || (unit->factor == 1.0 && unit->offset == 0.0);
    std::string text = isSI ? toText(valueSI) : toConvertedText(valueSI, *unit);
    if (unit && *unit->symbol != '\0') text.append(" ").append(unit->symbol);
    return text;
}

std::optional<double> KrPhysicalDimension::parse(std::string_view text, ePhysicalDimension dimension,
                                                 eDimensionHint hint) noexcept {
    text = trim(text);
    // std::from_chars does not take a plus sign; "+-1" stays refused.
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    double number = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || !std::isfinite(number)) return std::nullopt;
    const std::string_view symbol = trim(text.substr(static_cast<std::size_t>(end - text.data())));
    const Unit* unit = symbol.empty() ? unitToShow(dimension, hint) : findUnit(dimension, symbol);
    if (!unit) return symbol.empty() ? std::optional(number) : std::nullopt;
    const double valueSI = toSI(number, unit->hint);
    return std::isfinite(valueSI) ? std::optional(valueSI) : std::nullopt;
}

}  // namespace Kr
