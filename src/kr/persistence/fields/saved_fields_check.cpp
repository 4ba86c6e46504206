#include "kr/persistence/fields/saved_fields_check.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <memory>
#include <type_traits>
#include <utility>

#include "kr/core/enum.h"
#include "kr/data/container_access.h"
#include "kr/data/value_traits.h"
#include "kr/platform/nearest_name.h"

namespace KrPersistence::detail {

using KrData::Container;
using KrData::FieldArrayBase;
using KrData::FieldBase;
using KrData::Types;
using KrData::ValueTraits;
using KrData::detail::ContainerAccess;

namespace {

const Container* asContainer(const FieldBase& field) {
    const bool isGroup = field.getDataType() == Types::kContainer && !field.isFieldArray();
    return isGroup ? static_cast<const Container*>(&field) : nullptr;
}

const FieldBase* findCounterpart(const Container& fields, std::size_t index, const Kr::KrID& id) {
    if (index < fields.size() && fields.at(index).getID() == id) return &fields.at(index);  // the usual case
    const auto found = fields.find(id);
    return found != fields.end() ? *found : nullptr;
}

// A file that is nothing but faults takes no more memory for them than this; the last one says that there are more.
constexpr std::size_t kMostDoubts = 100;  // of one extension
constexpr std::size_t kMostFindings = 1000;
constexpr std::size_t kLongestName = 200;

std::string shortened(const std::string& name) {
    return name.size() <= kLongestName ? name : name.substr(0, kLongestName) + "...";
}

/// Of a number, which is its only component, or of a vector.
template <class T>
auto getComponent(const T& value, std::size_t index) {
    if constexpr (std::is_arithmetic_v<T>) {
        return value;
    } else if constexpr (requires { value.w; }) {
        return std::array{value.x, value.y, value.z, value.w}[index];
    } else if constexpr (requires { value.z; }) {
        return std::array{value.x, value.y, value.z}[index];
    } else {
        return std::array{value.x, value.y}[index];
    }
}

}  // namespace

SavedFieldsCheck::SavedFieldsCheck(std::string owner, eNames names, std::span<const FieldLine> lines)
    : _owner(std::move(owner)), _names(names), _lines(lines) {}

void SavedFieldsCheck::compare(const Container& saved, const Container& declared) {
    _group = &declared;
    _compareChildren(saved, declared);
}

const FieldBase* SavedFieldsCheck::Doubt::findLoaded() const {
    const FieldBase* field = group;
    for (const auto& step : way) {
        if (field->getDataType() != Types::kContainer) return nullptr;
        const auto& container = static_cast<const Container&>(*field);
        if (step.index) {
            field = *step.index < container.size() ? &container.at(*step.index) : nullptr;
        } else {
            const auto place = container.find(step.id);
            field = place != container.end() ? *place : nullptr;
        }
        if (field == nullptr) return nullptr;
    }
    return field;
}

void SavedFieldsCheck::addFindings(const std::string& file, std::vector<Finding>& findings) const {
    for (const auto& doubt : _doubts) {
        if (findings.size() > kMostFindings || !doubt.isStillTrue(doubt.findLoaded())) continue;
        if (findings.size() < kMostFindings) {
            findings.push_back({doubt.kind, doubt.text, file, doubt.line});
        } else {
            findings.push_back({doubt.kind, "there are more fields with faults; they are not listed", file, 0});
        }
    }
}

// --- Trees ---------------------------------------------------------------------------------------------------------

void SavedFieldsCheck::_compareChildren(const Container& saved, const Container& declared) {
    for (std::size_t i = 0; i < saved.size() && _doubts.size() <= kMostDoubts; ++i) {
        const auto& each = saved.at(i);
        _way.push_back({each.getID(), std::nullopt});
        if (const auto* counterpart = findCounterpart(declared, i, each.getID())) {
            _compareFields(each, *counterpart);
        } else {
            _checkName(each, declared);
        }
        _way.pop_back();
    }
}

void SavedFieldsCheck::_compareItems(const FieldArrayBase& saved, const FieldArrayBase& declared) {
    const bool isLonger = saved.size() > declared.size();
    const auto sample = isLonger ? declared.makeSampleItem() : nullptr;
    for (std::size_t i = 0; i < saved.size() && _doubts.size() <= kMostDoubts; ++i) {
        _way.push_back({saved.at(i).getID(), i});
        _compareFields(saved.at(i), i < declared.size() ? declared.at(i) : *sample);
        _way.pop_back();
    }
}

void SavedFieldsCheck::_compareFields(const FieldBase& saved, const FieldBase& declared) {
    if (saved.isFieldArray() && declared.isFieldArray()) {
        const auto& array = static_cast<const FieldArrayBase&>(saved);
        const auto& declaredArray = static_cast<const FieldArrayBase&>(declared);
        _compareSizes(array, declaredArray);
        _compareItems(array, declaredArray);
    } else if (asContainer(saved) != nullptr && asContainer(declared) != nullptr) {
        _compareChildren(*asContainer(saved), *asContainer(declared));
    } else if (saved.getDataType() == declared.getDataType()) {
        _compareChoices(saved, declared);
        _compareRanges<double, float, int, unsigned int, short, unsigned short, KrMath::Vector2T<double>,
                       KrMath::Vector3T<double>, KrMath::Vector4T<double>, KrMath::Vector3T<float>>(saved, declared);
    }
}

// --- Values --------------------------------------------------------------------------------------------------------

void SavedFieldsCheck::_compareSizes(const FieldArrayBase& saved, const FieldArrayBase& declared) {
    const auto count = saved.size();
    if (declared.isSizeAllowed(count)) return;
    _doubt(Finding::eKind::kOutOfRange, saved,
           "number of items of " + _describeField() + " is " +
               describeOutside(static_cast<unsigned long long>(count),
                               static_cast<unsigned long long>(declared.getMinimumSize()),
                               static_cast<unsigned long long>(declared.getMaximumSize())),
           [](const FieldBase*) { return true; });
}

void SavedFieldsCheck::_compareChoices(const FieldBase& saved, const FieldBase& declared) {
    const auto* choice = saved.as<Kr::KrEnum>();
    if (choice == nullptr) return;
    const auto* type = Kr::KrEnum::getEnumeration(declared.get<Kr::KrEnum>().getTypeString());
    const auto& text = choice->getValue().toString();
    if (type == nullptr || text.empty() || type->findValue(text) != nullptr) return;
    _doubt(Finding::eKind::kUnknownChoice, saved,
           _describeField() + " is '" + text + "', which its enumeration does not have" +
               explainChoice(text, listChoices(*type)),
           [](const FieldBase* loaded) { return loaded != nullptr; });
}

template <class... T>
void SavedFieldsCheck::_compareRanges(const FieldBase& saved, const FieldBase& declared) {
    const auto compare = [&](const auto* value, const auto* limits) {
        if (value != nullptr && limits != nullptr && limits->hasRange()) _compareRange(*value, *limits);
    };
    (compare(saved.as<T>(), declared.as<T>()), ...);
}

template <class T>
void SavedFieldsCheck::_compareRange(const KrData::Field<T>& saved, const KrData::Field<T>& declared) {
    constexpr auto kCount = static_cast<std::size_t>(ValueTraits<T>::kComponentCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        const auto minimum = getComponent(declared.getMinimum(), i);
        const auto maximum = getComponent(declared.getMaximum(), i);
        const auto isOutside = [=](const KrData::Field<T>& field) {
            const auto value = getComponent(field.getValue(), i);
            return !(value >= minimum && value <= maximum);  // NaN, too
        };
        if (!isOutside(saved)) continue;
        const std::string which = kCount > 1 ? std::string("component ") + "XYZW"[i] + " of " : std::string();
        _doubt(Finding::eKind::kOutOfRange, saved,
               which + _describeField() + " is " + describeOutside(getComponent(saved.getValue(), i), minimum, maximum),
               [isOutside](const FieldBase* loaded) {
                   const auto* same = loaded != nullptr ? loaded->as<T>() : nullptr;
                   return same != nullptr && isOutside(*same);
               });
    }
}

void SavedFieldsCheck::_checkName(const FieldBase& saved, const Container& declared) {
    const bool isDoubtful = _names == eNames::kAll || (_names == eNames::kStatic && !saved.isDynamic());
    if (!isDoubtful || ContainerAccess::findDeprecated(declared, saved.getID()) != declared.end()) return;
    std::vector<std::string> names;
    for (const auto* each : declared)
        names.push_back(each->getID().str());
    // Outside of arrays, what a type does not declare is kept as a dynamic field.
    const bool isKept = _names == eNames::kStatic &&
                        std::none_of(_way.begin(), _way.end(), [](const Step& step) { return step.index.has_value(); });
    _doubt(Finding::eKind::kUnknownName, saved,
           _describeField() + " does not exist in its type" + Kr::suggestName(saved.getID().str(), names),
           [isKept](const FieldBase* loaded) { return loaded != nullptr ? loaded->isDynamic() : !isKept; });
}

// --- Texts ---------------------------------------------------------------------------------------------------------

void SavedFieldsCheck::_doubt(Finding::eKind kind, const FieldBase& saved, std::string text, Condition isStillTrue) {
    if (_doubts.size() > kMostDoubts) return;
    if (_doubts.size() == kMostDoubts) {
        text = "there are more fields of " + shortened(_owner) + " with faults; they are not listed";
        isStillTrue = [](const FieldBase*) { return true; };
    }
    _doubts.push_back({kind, std::move(text), _findLine(saved), _group, _way, std::move(isStillTrue)});
}

std::string SavedFieldsCheck::_describeField() const {
    std::string role = Types::nameFor(_group->getFieldType());
    role.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(role.front())));
    std::string path;
    for (const auto& step : _way)
        path += (path.empty() ? "" : ".") + step.id.str();
    return role + " '" + shortened(path) + "' of " + shortened(_owner);
}

/// That of a field around it where it has none.
std::size_t SavedFieldsCheck::_findLine(const FieldBase& saved) const {
    for (const auto* field = &saved; field != nullptr; field = field->getParent()) {
        const auto found =
            std::find_if(_lines.begin(), _lines.end(), [&](const FieldLine& each) { return each.field == field; });
        if (found != _lines.end()) return found->line;
    }
    return 0;
}

}  // namespace KrPersistence::detail
