#include "kr/core/unit_spelling.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Kr {
namespace {

using Hint = KrPhysicalDimension::eDimensionHint;
using Unit = KrPhysicalDimension::Unit;

constexpr bool kWord = true;
constexpr bool kSymbol = false;

constexpr UnitAlias kAliases[] = {
    {Hint::kMicrometre, "micron", kWord},
    {Hint::kNauticalMile, "NM", kSymbol},
    {Hint::kInch, "\"", kSymbol},

    {Hint::kTonne, "metric ton", kWord},
    {Hint::kPound, "lbs", kSymbol},
    {Hint::kPound, "lbm", kSymbol},

    {Hint::kSecond, "sec", kWord},
    {Hint::kMillisecond, "msec", kWord},
    {Hint::kMicrosecond, "usec", kWord},
    {Hint::kMinute, "mins", kSymbol},
    {Hint::kHour, "hr", kWord},

    {Hint::kRevolution, "turn", kWord},

    {Hint::kKelvin, "degrees Kelvin", kWord},
    {Hint::kDegreeCelsius, "C", kSymbol},
    {Hint::kDegreeCelsius, "Celsius", kWord},
    {Hint::kDegreeFahrenheit, "F", kSymbol},
    {Hint::kDegreeFahrenheit, "Fahrenheit", kWord},

    {Hint::kAmpere, "amp", kWord},
    {Hint::kMilliampere, "milliamp", kWord},

    {Hint::kMetrePerSecond, "mps", kSymbol},
    {Hint::kKilometrePerHour, "kph", kWord},
    {Hint::kKilometrePerHour, "kmh", kWord},
    {Hint::kKilometrePerHour, "kmph", kWord},
    {Hint::kKilometrePerHour, "km/hr", kSymbol},
    {Hint::kMilePerHour, "mi/hr", kSymbol},
    {Hint::kKnot, "kts", kSymbol},
    {Hint::kFootPerSecond, "fps", kSymbol},

    {Hint::kStandardGravity, "G", kSymbol},
    {Hint::kStandardGravity, "gee", kWord},

    {Hint::kRevolutionPerMinute, "RPM", kSymbol},
    {Hint::kRevolutionPerMinute, "r/min", kSymbol},
    {Hint::kRevolutionPerMinute, "rev/min", kSymbol},

    {Hint::kPoundForce, "lb-f", kSymbol},
    {Hint::kKilogramForce, "kp", kSymbol},

    {Hint::kPoundFoot, "ft lbf", kSymbol},
    {Hint::kPoundFoot, "ft lb", kSymbol},
    {Hint::kPoundFoot, "lb ft", kSymbol},
    {Hint::kPoundFoot, "foot-pound", kWord},
    {Hint::kPoundInch, "in lbf", kSymbol},
    {Hint::kPoundInch, "in lb", kSymbol},
    {Hint::kPoundInch, "lb in", kSymbol},
    {Hint::kPoundInch, "inch-pound", kWord},

    {Hint::kKilowattHour, "kWhr", kSymbol},
    {Hint::kFootPound, "lbf ft", kSymbol},
    {Hint::kFootPound, "ft lb", kSymbol},
    {Hint::kBritishThermalUnit, "BTU", kSymbol},

    {Hint::kMechanicalHorsepower, "HP", kSymbol},
    {Hint::kMechanicalHorsepower, "horsepower", kWord},

    {Hint::kPoundPerSquareInch, "lbf/in^2", kSymbol},
    {Hint::kPoundPerSquareInch, "lb/in^2", kSymbol},

    {Hint::kCubicCentimetre, "cc", kSymbol},
    {Hint::kCubicCentimetre, "ccm", kSymbol},
    {Hint::kUSGallon, "gallon", kWord},

    {Hint::kLitrePerMinute, "lpm", kSymbol},
    {Hint::kUSGallonPerMinute, "gallon per minute", kWord},

    {Hint::kSquareFoot, "sq ft", kSymbol},
    {Hint::kSquareInch, "sq in", kSymbol},
    {Hint::kSquareMile, "sq mi", kSymbol},

    {Hint::kPercent, "pct", kWord},

    {Hint::kPoundPerSecond, "lbm/s", kSymbol},
    {Hint::kPoundPerHour, "pph", kSymbol},

    {Hint::kAmpereHour, "amp hour", kWord},
};

/// Text of limited length; a longer one is no spelling of a unit.
class Form {
public:
    void append(std::string_view text) noexcept {
        if (text.size() > _text.size() - _size) {
            _isTooLong = true;
            return;
        }
        std::copy(text.begin(), text.end(), _text.begin() + static_cast<std::ptrdiff_t>(_size));
        _size += text.size();
    }
    void removeLast(std::size_t count) noexcept { _size -= count; }

    [[nodiscard]] std::string_view get() const noexcept { return {_text.data(), _size}; }
    [[nodiscard]] bool isUsable() const noexcept { return !_isTooLong && _size > 0; }

private:
    std::array<char, 64> _text{};
    std::size_t _size{0};
    bool _isTooLong{false};
};

// Inside a form.
constexpr char kTimes = '.';
constexpr char kPower = '^';

struct Replacement {
    std::string_view typed;
    std::string_view form;
};
constexpr Replacement kReplacements[] = {
    {"*", "."},      {"-", "."},        {"\u00B7", "."},    {"\u22C5", "."},    {"\u2219", "."},   {"\t", " "},
    {"\u00A0", " "}, {"\u2009", " "},   {"\u202F", " "},    {"\u00B9", "1"},    {"\u00B2", "2"},   {"\u00B3", "3"},
    {"\u00B5", "u"}, {"\u03BC", "u"},   {"\u2044", "/"},    {"\u2215", "/"},    {"\u03A9", "ohm"}, {"\u2126", "ohm"},
    {"°", "deg"},    {"\u00BA", "deg"}, {"\u2103", "degC"}, {"\u2109", "degF"},
};

/// What the beginning of the text stands for, which is removed from the text.
std::string_view takeNext(std::string_view& text) noexcept {
    for (const auto& each : kReplacements) {
        if (!text.starts_with(each.typed)) continue;
        text.remove_prefix(each.typed.size());
        return each.form;
    }
    const auto next = text.substr(0, 1);
    text.remove_prefix(1);
    return next;
}

/// One point for each product, no power signs, no blanks.
Form toSymbolForm(std::string_view text) noexcept {
    Form form;
    bool isBlankBefore = false;
    char last = kTimes;  // blanks behind it are no product
    while (!text.empty()) {
        const auto next = takeNext(text);
        if (next == " ") {
            isBlankBefore = true;
            continue;
        }
        const bool joins = next[0] == kTimes || next[0] == '/' || next[0] == kPower;
        const bool isJoined = last == kTimes || last == '/' || last == kPower;
        if (isBlankBefore && !joins && !isJoined) form.append(".");
        if (next[0] != kPower) form.append(next);
        isBlankBefore = false;
        last = next.back();
    }
    return form;
}

/// A product may be written without a sign: "Nm". But "m m" is no millimetre.
bool isSameSymbol(std::string_view typed, std::string_view symbol) noexcept {
    if (typed == symbol) return true;
    for (const char each : symbol) {
        if (each == kTimes) continue;
        if (typed.empty() || typed.front() != each) return false;
        typed.remove_prefix(1);
    }
    return typed.empty();
}

/// A word in the singular, with the British ending.
void appendWord(Form& form, std::string_view word) noexcept {
    constexpr Replacement kWords[] = {{"feet", "foot"}, {"inches", "inch"}, {"gravities", "gravity"}, {"hz", "hertz"}};
    const auto* irregular =
        std::find_if(std::begin(kWords), std::end(kWords), [&](const auto& each) { return each.typed == word; });
    if (irregular != std::end(kWords)) return form.append(irregular->form);
    if (word.size() > 2 && word.ends_with('s')) word.remove_suffix(1);
    const bool isAmerican = word.ends_with("meter") || word.ends_with("liter");
    form.append(isAmerican ? word.substr(0, word.size() - 2) : word);
    if (isAmerican) form.append("re");
}

/// Words in lower case with a blank between two, each in the singular.
Form toNameForm(std::string_view text) noexcept {
    Form lower;
    while (!text.empty()) {
        const auto next = takeNext(text);
        const char first = next == "." ? ' ' : next[0];
        const char small = first >= 'A' && first <= 'Z' ? static_cast<char>(first - 'A' + 'a') : first;
        lower.append({&small, 1});
        lower.append(next.substr(1));
    }
    Form form;
    if (!lower.isUsable()) return form;
    for (auto rest = lower.get(); !rest.empty();) {
        const auto end = std::min(rest.find(' '), rest.size());
        if (end > 0) {
            if (form.isUsable()) form.append(" ");
            appendWord(form, rest.substr(0, end));
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return form;
}

const Unit* findBySymbol(std::span<const Unit> units, std::string_view typed) noexcept {
    const auto* unit = units.data();
    for (; unit != units.data() + units.size(); ++unit) {
        if (isSameSymbol(typed, toSymbolForm(unit->symbol).get())) return unit;
        if (isSameSymbol(typed, toSymbolForm(unit->plainSymbol).get())) return unit;
    }
    return nullptr;
}

}  // namespace

std::span<const UnitAlias> getUnitAliases() noexcept {
    return kAliases;
}

const Unit* findUnitBySpelling(KrPhysicalDimension::ePhysicalDimension dimension, std::string_view text) noexcept {
    const auto units = KrPhysicalDimension::getUnits(dimension);
    const auto symbol = toSymbolForm(text);
    const auto name = toNameForm(text);
    if (symbol.isUsable()) {
        if (const auto* unit = findBySymbol(units, symbol.get())) return unit;
    }
    for (const auto& each : kAliases) {
        if (KrPhysicalDimension::dimensionOf(each.hint) != dimension) continue;
        const bool isMeant = each.isWord
                                 ? name.isUsable() && name.get() == toNameForm(each.text).get()
                                 : symbol.isUsable() && isSameSymbol(symbol.get(), toSymbolForm(each.text).get());
        if (isMeant) return KrPhysicalDimension::getUnit(each.hint);
    }
    if (!name.isUsable()) return nullptr;
    const auto isNamed = [&](const Unit& unit) { return name.get() == toNameForm(unit.name).get(); };
    const auto it = std::find_if(units.begin(), units.end(), isNamed);
    return it == units.end() ? nullptr : &*it;
}

std::string listUnits(KrPhysicalDimension::ePhysicalDimension dimension) {
    std::string symbols;
    for (const auto& unit : KrPhysicalDimension::getUnits(dimension)) {
        if (*unit.symbol == '\0') continue;
        symbols.append(symbols.empty() ? "" : ", ").append(unit.symbol);
    }
    return symbols;
}

std::string nameInSentence(KrPhysicalDimension::ePhysicalDimension dimension) {
    std::string name = KrPhysicalDimension::nameFor(dimension);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char each) { return each >= 'A' && each <= 'Z' ? static_cast<char>(each - 'A' + 'a') : each; });
    return name;
}

}  // namespace Kr
