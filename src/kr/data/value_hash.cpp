#include "kr/data/value_hash.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#include "kr/data/field.h"
#include "kr/data/vector.h"

namespace KrData {

namespace {

/// Tells the items of a sequence apart: the golden ratio, as an odd number of 64 bits.
constexpr std::uint64_t kNext = 0x9E3779B97F4A7C15U;

template <class Number>
constexpr std::uint64_t toWord(Number number) noexcept {
    if constexpr (std::is_same_v<Number, double>) {
        return std::bit_cast<std::uint64_t>(number);
    } else if constexpr (std::is_same_v<Number, float>) {
        return std::bit_cast<std::uint32_t>(number);
    } else {
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(number));
    }
}

}  // namespace

ValueHash::ValueHash(ExtensionKey keyOf) : _keyOf(std::move(keyOf)) {}
ValueHash::~ValueHash() = default;

std::uint64_t ValueHash::mix(std::string_view text, std::uint64_t key) noexcept {
    std::uint64_t sum = mix(key ^ text.size());
    for (std::size_t at = 0; at < text.size(); at += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + at, std::min(sizeof word, text.size() - at));
        key += kNext;
        sum += mix(key ^ word);
    }
    return sum;
}

// --- The list of fields --------------------------------------------------------------------------------------------

void ValueHash::add(const ValuePlan& plan, std::uint64_t key) {
    _addBelow(plan, ValuePlan::kTop, key);
}

void ValueHash::clear() noexcept {
    for (auto& group : _groups)
        group.entries.clear();
}

void ValueHash::_addBelow(const ValuePlan& plan, ValuePlan::Place place, std::uint64_t key) {
    // Items of arrays have no names of their own.
    const bool isArray = place != ValuePlan::kTop && plan.isArray(place);
    const auto keyOf = [&](const Kr::KrID& id, std::size_t position) {
        return isArray ? mix(key ^ (position + 1)) : mix(id.str(), key);
    };
    const auto children = plan.getChildren(place);
    for (std::size_t i = 0; i < children.values.size(); ++i) {
        const auto& field = plan.getField(children.values[i]);
        _addField(field, keyOf(field.getID(), i));
    }
    for (std::size_t i = 0; i < children.containers.size(); ++i)
        _addBelow(plan, children.containers[i], keyOf(plan.getID(children.containers[i]), i));
}

void ValueHash::_addField(const FieldBase& field, std::uint64_t key) {
    const auto dataType = field.getDataType();
    auto found =
        std::find_if(_groups.begin(), _groups.end(), [&](const Group& group) { return group.dataType == dataType; });
    if (found == _groups.end()) found = _groups.insert(found, {dataType, {}});
    found->entries.push_back({&field, mix(key + dataType)});  // the same value of another type is another one
}

// --- Values --------------------------------------------------------------------------------------------------------

template <class T>
std::uint64_t ValueHash::_hashValue(const T& value, std::uint64_t key) const {
    if constexpr (std::is_arithmetic_v<T>) {
        return mix(key ^ toWord(value));
    } else if constexpr (kHasComponents<T>) {
        for (const auto each : getComponents(value))
            key = mix(key ^ toWord(each));
        return key;
    } else if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        return mix(value.getTypeString(), mix(key ^ toWord(static_cast<int>(value))));
    } else if constexpr (std::is_same_v<T, KrSim::KrExtension*>) {
        return mix(key ^ (value != nullptr ? _keyOf(*value) : 0));
    } else if constexpr (std::is_same_v<T, KrGraphics::Material*>) {
        return mix(key);  // the pointer differs from run to run
    } else {
        return mix(std::string_view(value), key);
    }
}

template <class T>
std::uint64_t ValueHash::_hashItems(const FieldBase& field, std::uint64_t key) const {
    const auto& items = static_cast<const Vector<T>&>(field).getItems();
    key = mix(key + ValueTraits<T>::kDataType);
    std::uint64_t sum = mix(key ^ items.size());
    for (const auto& each : items) {
        key += kNext;
        sum += _hashValue<T>(each, key);
    }
    return sum;
}

std::uint64_t ValueHash::_hashVector(const FieldBase& field, std::uint64_t key) const {
    return withValueType(static_cast<const VectorBase&>(field).getItemDataType(),
                         [&]<class T>(std::type_identity<T>) { return _hashItems<T>(field, key); });
}

template <class HashOne>
std::uint64_t ValueHash::_sum(Entries entries, const HashOne& hashOne) {
    // The fields of large simulations are not in the cache; their value is behind what all fields have.
    constexpr std::size_t kAhead = 48;
    std::uint64_t sum = 0;
    std::size_t i = 0;
    for (; i + kAhead < entries.size(); ++i) {
        __builtin_prefetch(entries[i + kAhead].field + 1);
        sum += hashOne(*entries[i].field, entries[i].key);
    }
    for (; i < entries.size(); ++i)
        sum += hashOne(*entries[i].field, entries[i].key);
    return sum;
}

std::uint64_t ValueHash::calculate() const {
    std::uint64_t sum = 0;
    for (const auto& [dataType, entries] : _groups) {
        if (dataType == Types::kVector) {
            sum += _sum(entries, [this](const FieldBase& field, auto key) { return _hashVector(field, key); });
            continue;
        }
        sum += withValueType(dataType, [this, all = Entries(entries)]<class T>(std::type_identity<T>) {
            return _sum(all, [&](const FieldBase& field, auto key) {
                return _hashValue<T>(static_cast<const Field<T>&>(field).getValue(), key);
            });
        });
    }
    return sum;
}

}  // namespace KrData
