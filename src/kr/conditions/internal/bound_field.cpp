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

/// "X", "Y", or "M00" of a matrix, row by row; none for one number and for what is no number.
std::vector<std::string> nameComponents(const FieldBase& field) {
    return KrData::withValueType(field.getDataType(), []<class T>(std::type_identity<T>) {
        std::vector<std::string> names;
        if constexpr (KrData::kHasComponents<T>) {
            for (const char each : KrData::ValueTraits<T>::kComponentNames)
                names.emplace_back(1, each);
            constexpr int kRows = 4;
            for (int i = 0; names.size() < std::size_t{KrData::ValueTraits<T>::kComponentCount}; ++i)
                names.push_back("M" + std::to_string(i / kRows) + std::to_string(i % kRows));
        }
        return names;
    });
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
    const auto names = nameComponents(field);
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
    BoundField bound;
    const auto found = KrExperiments::findOneField(application, path);
    if (found.problem.empty()) {
        problem = _bind(*found.fields.front().field, -1, bound);
        return problem.empty() ? std::optional(std::move(bound)) : std::nullopt;
    }
    problem = found.problem;
    const auto point = path.rfind('.');
    if (point == std::string_view::npos) return std::nullopt;
    const auto whole = KrExperiments::findOneField(application, path.substr(0, point));
    if (!whole.problem.empty()) return std::nullopt;
    auto& field = *whole.fields.front().field;
    const auto names = nameComponents(field);
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] != path.substr(point + 1)) continue;
        problem = _bind(field, static_cast<int>(i), bound);
        return bound;
    }
    if (!names.empty())
        problem = "'" + whole.fields.front().path + "' has no component '" + std::string(path.substr(point + 1)) +
                  "'; they are " + joinQuoted(names);
    return std::nullopt;
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
