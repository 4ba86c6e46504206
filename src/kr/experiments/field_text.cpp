#include "kr/experiments/field_text.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/core/physical_dimension.h"
#include "kr/core/unit_spelling.h"
#include "kr/data/field.h"
#include "kr/data/value_traits.h"
#include "kr/extension/extension.h"
#include "kr/extension/factory/unit_system_extension.h"
#include "kr/platform/nearest_name.h"
#include "kr/platform/text.h"

namespace KrExperiments {
namespace {

using Dimension = Kr::KrPhysicalDimension;
using KrData::FieldBase;

constexpr std::string_view kBlanks = " \t\r\n";

std::string describeNoNumber(const FieldBase& field, std::string_view text) {
    const auto dimension = field.getPhysicalDimension();
    if (dimension == Dimension::ePhysicalDimension::kNone) return Kr::quote(text) + " is no number";
    const auto units = Kr::listUnits(dimension);
    return Kr::quote(text) + " is no " + Kr::nameInSentence(dimension) +
           (units.empty() ? "" : "; its units are " + units);
}

/// Texts of numbers, the last of which keeps what follows it: the unit.
std::vector<std::string_view> splitNumbers(std::string_view text, std::size_t count) {
    std::vector<std::string_view> parts;
    text = Kr::trim(text);
    while (parts.size() + 1 < count) {
        const auto end = text.find_first_of(" \t\r\n,;");
        if (end == std::string_view::npos) break;
        parts.push_back(text.substr(0, end));
        const auto next = text.find_first_not_of(kBlanks, end);
        if (next == std::string_view::npos) break;
        text.remove_prefix(text[next] == ',' || text[next] == ';' ? next + 1 : next);
        text = Kr::trim(text);
    }
    parts.push_back(text);
    return parts;
}

/// Of SI units, for each text of a number: all are in the unit of the last one.
std::string parseNumbers(const FieldBase& field, std::string_view text, std::size_t count, std::vector<double>& numbers,
                         ShownUnits units) {
    auto parts = splitNumbers(text, count);
    const auto isUnit = [](char each) { return std::string_view("0123456789+-.eE").find(each) == std::string::npos; };
    const auto last = parts.back();
    const auto unitAt = std::find_if(last.begin(), last.end(), isUnit);
    const std::string unit(unitAt, last.end());
    if (unitAt == last.begin() && parts.size() > 1) parts.pop_back();
    for (const auto& each : parts) {
        std::string one(each.begin(), each.data() == last.data() ? unitAt : each.end());
        one.append(" ").append(unit);
        double number = 0.0;
        if (!parseFieldNumber(field, one, number, units).empty()) return describeNoNumber(field, text);
        numbers.push_back(number);
    }
    if (numbers.size() == count) return {};
    return Kr::quote(text) + " has " + std::to_string(numbers.size()) + " of " + std::to_string(count) + " numbers";
}

template <class T>
std::string setInRange(KrData::Field<T>& field, const T& value, std::string_view text, ShownUnits units) {
    if constexpr (KrData::ValueTraits<T>::kHasRange) {
        T clamped = value;
        if (field.hasRange()) KrData::ValueTraits<T>::clamp(clamped, field.getMinimum(), field.getMaximum());
        if (!(clamped == value))
            return Kr::quote(text) + " is out of the range of the field, " + formatRange(field, units);
    }
    field.setValue(value);
    return {};
}

template <class T>
std::string setNumber(KrData::Field<T>& field, std::string_view text, ShownUnits units) {
    double number = 0.0;
    if (auto problem = parseFieldNumber(field, text, number, units); !problem.empty()) return problem;
    if constexpr (std::is_integral_v<T>) {
        if (number != std::floor(number)) return Kr::quote(text) + " is no whole number";
    }
    const bool fits = number >= static_cast<double>(std::numeric_limits<T>::lowest()) &&
                      number <= static_cast<double>(std::numeric_limits<T>::max());
    if (!fits) return Kr::quote(text) + " does not fit in a field of type " + KrData::ValueTraits<T>::kName;
    return setInRange(field, static_cast<T>(number), text, units);
}

std::string setBoolean(KrData::Field<bool>& field, std::string_view text) {
    constexpr std::pair<std::string_view, bool> kWords[] = {{"true", true}, {"false", false}, {"yes", true},
                                                            {"no", false},  {"on", true},     {"off", false},
                                                            {"1", true},    {"0", false}};
    const auto* word = std::find_if(std::begin(kWords), std::end(kWords),
                                    [&](const auto& each) { return each.first == Kr::trim(text); });
    if (word == std::end(kWords)) return Kr::quote(text) + " is neither true nor false";
    field.setValue(word->second);
    return {};
}

std::string setEnumeration(KrData::Field<Kr::KrEnum>& field, std::string_view text) {
    const auto* type = Kr::KrEnum::getEnumeration(field.getValue().getTypeString());
    if (type == nullptr) return "its enumeration is not registered";
    std::vector<std::string> texts;
    for (const auto& [number, each] : type->getValues())
        texts.push_back(each);
    const std::string wanted(Kr::trim(text));
    if (std::find(texts.begin(), texts.end(), wanted) == texts.end()) {
        std::string all;
        for (const auto& each : texts)
            all.append(all.empty() ? "" : ", ").append(Kr::quote(each));
        return Kr::quote(wanted) + " is none of its values" + Kr::suggestName(wanted, texts) + "; they are " + all;
    }
    Kr::KrEnum value = field.getValue();
    value.fromString(wanted);
    field.setValue(value);
    return {};
}

template <class T>
std::string setComponents(KrData::Field<T>& field, std::string_view text, ShownUnits units) {
    using Number = typename KrData::ValueTraits<T>::Component;
    constexpr auto kCount = static_cast<std::size_t>(KrData::ValueTraits<T>::kComponentCount);
    std::vector<double> numbers;
    if (auto problem = parseNumbers(field, text, kCount, numbers, units); !problem.empty()) return problem;
    std::array<Number, kCount> components{};
    std::transform(numbers.begin(), numbers.end(), components.begin(),
                   [](double each) { return static_cast<Number>(each); });
    return setInRange(field, std::bit_cast<T>(components), text, units);
}

template <class T>
inline constexpr bool kIsReference = std::is_pointer_v<T>;

template <class T>
std::string setValueOf(KrData::Field<T>& field, std::string_view text, ShownUnits units) {
    if constexpr (std::is_same_v<T, bool>) {
        return setBoolean(field, text);
    } else if constexpr (std::is_arithmetic_v<T>) {
        return setNumber(field, text, units);
    } else if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        return setEnumeration(field, text);
    } else if constexpr (KrData::kHasComponents<T>) {
        return setComponents(field, text, units);
    } else {
        std::string value(text);
        if constexpr (std::is_same_v<T, std::string>) {
            field.setValue(value);
        } else {
            field.setValue(T(value.c_str()));
        }
        return {};
    }
}

template <class T>
std::string formatRangeOf(const KrData::Field<T>& field, ShownUnits units) {
    const auto show = [&](T bound) {
        return Dimension::format(static_cast<double>(bound), field.getPhysicalDimension(), getShownUnit(field, units));
    };
    const bool hasMost = field.getMaximum() != std::numeric_limits<T>::max();
    const bool hasLeast = field.getMinimum() != std::numeric_limits<T>::lowest();
    if (!hasLeast) return hasMost ? "at most " + show(field.getMaximum()) : std::string();
    if (!hasMost) return "at least " + show(field.getMinimum());
    return show(field.getMinimum()) + " to " + show(field.getMaximum());
}

/// Whether each number of a value is one of the dimension of the field.
template <class T>
inline constexpr bool kIsConverted = KrData::ValueTraits<T>::kIsConvertedByParts ||
                                     (std::is_arithmetic_v<T> && !std::is_same_v<T, bool>);

/// In a unit that is not that of the stored value.
template <class T>
std::string formatNumber(T number, Dimension::ePhysicalDimension dimension, Dimension::eDimensionHint unit) {
    // A double would show the digits that a float does not have.
    if constexpr (std::is_same_v<T, float>) return Kr::toText(static_cast<float>(Dimension::fromSI(number, unit)));
    const auto text = Dimension::format(static_cast<double>(number), dimension, unit);
    return text.substr(0, text.find(' '));
}

template <class T>
std::string formatConverted(const KrData::Field<T>& field, Dimension::eDimensionHint unit) {
    const auto dimension = field.getPhysicalDimension();
    if constexpr (std::is_arithmetic_v<T>) {
        return formatNumber(field.getValue(), dimension, unit);
    } else {
        std::string text;
        for (const auto each : KrData::getComponents(field.getValue()))
            text.append(text.empty() ? "" : " ").append(formatNumber(each, dimension, unit));
        return text;
    }
}

}  // namespace

ShownUnits findUnitSystem(const KrSim::KrApplication& application) {
    for (const auto& each : application.getContentDispatcher().getExtensions()) {
        const auto* system = each->getImplementationAs<KrSim::KrUnitSystem>();
        if (system != nullptr) return system->getSystem();
    }
    return {};
}

Dimension::eDimensionHint getShownUnit(const FieldBase& field, ShownUnits units) {
    const auto dimension = field.getPhysicalDimension();
    const bool isConverted =
        KrData::withValueType(field.getDataType(), []<class T>(std::type_identity<T>) { return kIsConverted<T>; });
    return isConverted ? Kr::chooseUnit(dimension, field.getPhysicalDimensionHint(), units)
                       : Kr::chooseUnit(dimension, Dimension::eDimensionHint::kNone, {});
}

std::string formatField(const FieldBase& field, ShownUnits units) {
    const auto dimension = field.getPhysicalDimension();
    const auto unit = getShownUnit(field, units);
    if (const auto* number = field.as<double>()) return Dimension::format(number->getValue(), dimension, unit);
    const auto all = Dimension::getUnits(dimension);  // the first is that of stored values
    if (all.empty()) return field.toString();
    if (unit == all.front().hint) return field.toString().append(" ").append(all.front().symbol);
    auto text = KrData::withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
        if constexpr (kIsConverted<T>) {
            return formatConverted(static_cast<const KrData::Field<T>&>(field), unit);
        } else {
            return field.toString();  // cannot be: it is shown in the SI unit
        }
    });
    return text.append(" ").append(Dimension::getUnit(unit)->symbol);
}

std::string formatRange(const FieldBase& field, ShownUnits units) {
    return KrData::withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
        const auto& typed = static_cast<const KrData::Field<T>&>(field);
        if (!typed.hasRange()) return std::string();
        if constexpr (std::is_arithmetic_v<T>) {
            return formatRangeOf(typed, units);
        } else {
            return std::string("each number in its own");
        }
    });
}

bool takesText(const FieldBase& field) {
    return KrData::withValueType(field.getDataType(), []<class T>(std::type_identity<T>) { return !kIsReference<T>; });
}

std::string setField(FieldBase& field, std::string_view text, ShownUnits units) {
    if (!takesText(field)) return "values of this type cannot be given as text";
    return KrData::withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
        if constexpr (kIsReference<T>) {
            return std::string();
        } else {
            return setValueOf(static_cast<KrData::Field<T>&>(field), text, units);
        }
    });
}

std::string parseFieldNumber(const FieldBase& field, std::string_view text, double& number, ShownUnits units) {
    const auto parsed = Dimension::parse(text, field.getPhysicalDimension(), getShownUnit(field, units));
    if (!parsed) return describeNoNumber(field, text);
    number = *parsed;
    return {};
}

}  // namespace KrExperiments
