#include "kr/recording/internal/field_sampler.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string_view>
#include <type_traits>
#include <utility>

#include "kr/application/application.h"
#include "kr/core/physical_dimension.h"
#include "kr/data/field.h"
#include "kr/data/value_traits.h"
#include "kr/data/vector_base.h"
#include "kr/experiments/field_search.h"
#include "kr/extension/extension.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/platform/text.h"

namespace KrRecording::detail {
namespace {

using KrData::Field;
using KrData::FieldBase;
using KrData::Types;

template <class T>
constexpr eNumber numberOf() {
    if constexpr (std::is_same_v<T, double>) return eNumber::kDouble;
    if constexpr (std::is_same_v<T, float>) return eNumber::kFloat;
    if constexpr (std::is_same_v<T, int>) return eNumber::kInteger;
    if constexpr (std::is_same_v<T, unsigned int>) return eNumber::kUnsigned;
    if constexpr (std::is_same_v<T, short>) return eNumber::kShort;
    if constexpr (std::is_same_v<T, unsigned short>) return eNumber::kUnsignedShort;
    if constexpr (std::is_same_v<T, bool>) return eNumber::kBoolean;
    return eNumber::kText;
}

template <class T>
void copyValue(const FieldBase& field, std::byte* target) {
    std::memcpy(target, &static_cast<const Field<T>&>(field).getValue(), sizeof(T));
}

/// How a data type is recorded.
struct Form {
    eNumber number{eNumber::kText};
    std::size_t size{0};  ///< of its numbers; 0 for a text
    void (*copy)(const FieldBase& field, std::byte* target){nullptr};
    bool isRecorded{false};
};

Form formOf(Types::DataTypeEnum dataType) {
    if (dataType == Types::kVector) return {.isRecorded = true};
    return KrData::withValueType(dataType, []<class T>(std::type_identity<T>) -> Form {
        if constexpr (std::is_pointer_v<T>) {
            return {};
        } else if constexpr (KrData::kHasComponents<T>) {
            return {numberOf<typename KrData::ValueTraits<T>::Component>(), sizeof(T), &copyValue<T>, true};
        } else if constexpr (std::is_arithmetic_v<T>) {
            static_assert(numberOf<T>() != eNumber::kText);
            return {numberOf<T>(), sizeof(T), &copyValue<T>, true};
        } else {
            return {.isRecorded = true};
        }
    });
}

void copyText(const FieldBase& field, std::string& text) {
    switch (field.getDataType()) {
        case Types::kString:
            text = static_cast<const Field<std::string>&>(field).getValue();
            break;
        case Types::kVector:
            text = static_cast<const KrData::VectorBase&>(field).getText();
            break;
        default:
            text = field.toString();
    }
}

/// A name for protobuf: letters, digits and '_', not beginning with a digit.
std::string toIdentifier(std::string_view text) {
    std::string name;
    for (const char each : text) {
        const bool isWord =
            (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z') || (each >= '0' && each <= '9');
        if (isWord) {
            name += each;
        } else if (!name.empty() && name.back() != '_') {
            name += '_';
        }
    }
    if (name.empty() || (name.front() >= '0' && name.front() <= '9')) name.insert(0, 1, 'f');
    return name;
}

std::string symbolOf(const FieldBase& field) {
    const auto units = Kr::KrPhysicalDimension::getUnits(field.getPhysicalDimension());
    return units.empty() ? "" : units.front().symbol;
}

/// "Outputs" of "Outputs.Wheel.Speed", and what follows it.
std::pair<std::string_view, std::string_view> splitRole(std::string_view path) {
    const auto point = path.find('.');
    return point == std::string_view::npos ? std::pair(std::string_view{}, path)
                                           : std::pair(path.substr(0, point), path.substr(point + 1));
}

std::string typeNameOf(const KrSim::KrExtension* extension) {
    if (extension == nullptr) return {};
    const auto& name = extension->getCreationKey().name;
    return name.empty() ? extension->getName() : std::string(name);
}

}  // namespace

std::string FieldSampler::choose(const KrSim::KrApplication& application, const std::vector<std::string>& patterns,
                                 bool isStrict) {
    std::set<const FieldBase*> meant;
    for (const auto& each : patterns) {
        const auto found = KrExperiments::findFields(application, each);
        if (!found.problem.empty() && isStrict) return found.problem;
        for (const auto& field : found.fields)
            meant.insert(field.field);
    }
    auto layout = std::make_shared<FrameLayout>();
    std::vector<Double> doubles;
    std::vector<Other> others;
    std::map<std::string, int> topics;
    std::map<std::pair<const KrSim::KrExtension*, std::string>, std::size_t> channels;  // by extension and role
    std::set<std::pair<std::size_t, std::string>> names;                                // of the fields in a channel
    for (const auto& [field, path] : KrExperiments::findFields(application, "*").fields) {
        const bool isMeant = patterns.empty() ? field->getFieldType() == Types::kOutput : meant.contains(field);
        const auto form = formOf(field->getDataType());
        if (!isMeant || !form.isRecorded) continue;
        const auto own = field->getPath();
        const auto [role, rest] = splitRole(own);
        const std::string extension = path.size() > own.size() ? path.substr(0, path.size() - own.size() - 1) : "";
        const std::string topic = role.empty() ? extension : extension + "." + std::string(role);
        const auto* owner = field->getOwnerExtension();
        const auto [place, isNew] = channels.try_emplace({owner, std::string(role)}, layout->channels.size());
        if (isNew) {
            const int count = ++topics[topic];  // extensions may have equal paths
            layout->channels.push_back(
                {.topic = count == 1 ? topic : topic + " (" + std::to_string(count) + ")",
                 .schemaName = "kr." + toIdentifier(typeNameOf(owner) + " " + std::string(role))});
        }
        auto& channel = layout->channels[place->second];
        RecordedField recorded{.path = own,
                               .name = toIdentifier(rest),
                               .unit = symbolOf(*field),
                               .description = field->getDescription(),
                               .dataType = field->getDataType(),
                               .number = form.number,
                               .components = KrExperiments::getComponentNames(*field)};
        while (!names.emplace(place->second, recorded.name).second)
            recorded.name += '_';
        const bool isText = form.size == 0;
        recorded.place = isText ? layout->textCount++ : layout->byteCount;
        layout->byteCount += form.size;
        recorded.index = layout->fieldCount++;
        if (field->getDataType() == Types::kDouble) {
            doubles.push_back({KrData::FieldReference(field), static_cast<std::uint32_t>(recorded.index),
                               static_cast<std::uint32_t>(recorded.place)});
        } else {
            others.push_back({KrData::FieldReference(field), form.copy, recorded.index, recorded.place});
        }
        channel.fields.push_back(std::move(recorded));
    }
    if (layout->fieldCount == 0 && patterns.empty()) return "no field is an output";
    if (layout->fieldCount == 0) return "the fields have no values that can be recorded";
    _layout = std::move(layout);
    _doubles = std::move(doubles);
    _others = std::move(others);
    return {};
}

void FieldSampler::sample(RecordedFrame& frame) const {
    if (frame.layout != _layout) {
        frame.layout = _layout;
        frame.isThere.resize(_layout->fieldCount);
        frame.numbers.resize(_layout->byteCount);
        frame.texts.resize(_layout->textCount);
    }
    auto* isThere = frame.isThere.data();
    auto* numbers = frame.numbers.data();
    for (const auto& [reference, index, place] : _doubles) {
        const auto* field = reference.get();
        isThere[index] = field != nullptr ? 1 : 0;
        if (field == nullptr) continue;
        const double value = static_cast<const Field<double>*>(field)->getValue();
        std::memcpy(numbers + place, &value, sizeof value);
    }
    for (const auto& [reference, copy, index, place] : _others) {
        const auto* field = reference.get();
        isThere[index] = field != nullptr ? 1 : 0;
        if (field == nullptr) continue;
        if (copy != nullptr) {
            copy(*field, numbers + place);
        } else {
            copyText(*field, frame.texts[place]);
        }
    }
}

}  // namespace KrRecording::detail
