#include "kr/conditions/internal/bound_field.h"

#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

#include "kr/core/enum.h"
#include "kr/data/field.h"
#include "kr/data/value_traits.h"
#include "kr/experiments/field_search.h"
#include "kr/platform/text.h"

namespace KrConditions::detail {
namespace {

using Dimension = Kr::KrPhysicalDimension;
using KrData::FieldBase;

template <class T>
inline constexpr bool kIsNumber = std::is_arithmetic_v<T> || std::is_same_v<T, Kr::KrEnum>;

template <class T>
double readNumber(const FieldBase& field, [[maybe_unused]] int component) {
    const auto& value = static_cast<const KrData::Field<T>&>(field).getValue();
    if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        return static_cast<int>(value);
    } else if constexpr (KrData::kHasComponents<T>) {
        return static_cast<double>(KrData::getComponents(value)[static_cast<std::size_t>(component)]);
    } else {
        return static_cast<double>(value);
    }
}

std::string joinQuoted(const std::vector<std::string>& texts) {
    std::string all;
    for (const auto& each : texts)
        all.append(all.empty() ? "'" : ", '").append(each).append("'");
    return all;
}

}  // namespace

std::string BoundField::_bind(FieldBase& field, int component, BoundField& bound) {
    bound._field = KrData::FieldReference(&field);
    bound._path = KrExperiments::getFullPath(field);
    bound._dimension = field.getPhysicalDimension();
    bound._hint = field.getPhysicalDimensionHint();
    const auto names = KrExperiments::getComponentNames(field);
    if (component < 0 && !names.empty()) {
        return "'" + bound._path + "' has the components " + joinQuoted(names) + "; write one behind it, '" +
               bound._path + "." + names.front() + "'";
    }
    if (component >= 0) bound._path.append(".").append(names[static_cast<std::size_t>(component)]);
    bound._component = component;
    bound._read = KrData::withValueType(field.getDataType(), []<class T>(std::type_identity<T>) -> Read {
        if constexpr (kIsNumber<T> || KrData::kHasComponents<T>) {
            return &readNumber<T>;
        } else {
            return nullptr;
        }
    });
    if (bound._read == nullptr) return "'" + bound._path + "' is no number, and conditions compare numbers";
    if (const auto* value = field.as<Kr::KrEnum>()) bound._enumeration = value->getValue().getTypeString();
    return {};
}

std::optional<BoundField> BoundField::find(const KrSim::KrApplication& application, std::string_view path,
                                           std::string& problem) {
    const auto found = KrExperiments::findOneNumber(application, path);
    problem = found.problem;
    BoundField bound;
    if (problem.empty()) problem = _bind(*found.field.field, found.component, bound);
    return problem.empty() ? std::optional(std::move(bound)) : std::nullopt;
}

std::optional<double> BoundField::read() const {
    const auto* field = _field.get();
    return field != nullptr ? std::optional(_read(*field, _component)) : std::nullopt;
}

std::optional<int> BoundField::findEnumerationValue(std::string_view text) const {
    const auto* type = Kr::KrEnum::getEnumeration(_enumeration);
    if (type == nullptr) return std::nullopt;
    for (const auto& [number, each] : type->getValues())
        if (each == text) return number;
    return std::nullopt;
}

std::string BoundField::nameEnumerationValues() const {
    std::vector<std::string> texts;
    if (const auto* type = Kr::KrEnum::getEnumeration(_enumeration)) {
        for (const auto& [number, each] : type->getValues())
            texts.push_back(each);
    }
    return joinQuoted(texts);
}

std::string BoundField::format(double value) const {
    if (const auto* type = Kr::KrEnum::getEnumeration(_enumeration)) {
        for (const auto& [number, each] : type->getValues())
            if (number == static_cast<int>(value)) return each;
    }
    return Dimension::format(value, _dimension, _hint);
}

}  // namespace KrConditions::detail
