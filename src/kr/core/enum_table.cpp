#include "kr/core/enum_table.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <numeric>
#include <unordered_map>
#include <unordered_set>

#include "kr/core/internal/builtin_enumerations.h"
#include "kr/core/internal/enum_names.h"
#include "kr/core/internal/type_key.h"
#include "kr/platform/log.h"
#include "kr/platform/type_name.h"

namespace KrSim {

// The table

struct KrEnumTable::State {
    struct Entry {
        std::string key;
        std::unique_ptr<EnumType> type;
        std::vector<const std::type_info*> registrations;  // one for each; modules may have their own copies
    };

    mutable std::mutex mutex;                     // guards the members
    std::vector<std::unique_ptr<Entry>> entries;  // all that ever were, as values may point to them
    std::unordered_map<std::string, Entry*> byKey;
    std::unordered_map<std::string, Entry*> byName;
    std::unordered_map<std::string, Entry*> byCppName;

    static Entry* lookUp(const std::unordered_map<std::string, Entry*>& map, const std::string& text) {
        const auto it = map.find(text);
        return it == map.end() ? nullptr : it->second;
    }

    // An unregistered entry is used again when the same module is loaded again.
    Entry& makeEntry(const std::string& key, const EnumType& description) {
        const auto same = std::find_if(entries.begin(), entries.end(), [&](const auto& entry) {
            return entry->key == key && entry->type->getTypeName() == description.getTypeName() &&
                   entry->type->getValues() == description.getValues();
        });
        if (same != entries.end()) return **same;
        auto entry = std::make_unique<Entry>(Entry{key, std::make_unique<EnumType>(description), {}});
        entry->type->_type.store(nullptr, std::memory_order_relaxed);
        return *entries.emplace_back(std::move(entry));
    }
};

KrEnumTable::KrEnumTable() : _state(*new State) {
    Kr::detail::registerBuiltInEnumerations(*this);
}

KrEnumTable& KrEnumTable::_instance() {
    static KrEnumTable& table = *new KrEnumTable;
    return table;
}

const KrEnumTable::EnumType* KrEnumTable::registerEnumeration(const EnumType& description) {
    const std::type_info* type = description.getType();
    if (!type) return nullptr;
    const std::string key = Kr::detail::typeKey(*type);
    const std::string name = Kr::getTypeName(*type);
    {
        const std::lock_guard lock(_state.mutex);
        State::Entry* entry = State::lookUp(_state.byKey, key);
        if (!entry && !State::lookUp(_state.byName, description.getTypeName())) {
            entry = &_state.makeEntry(key, description);
            _state.byKey[key] = entry;
            _state.byName[description.getTypeName()] = entry;
            _state.byCppName[name] = entry;
            entry->type->_type.store(type, std::memory_order_release);
        }
        if (entry && entry->type->getTypeName() == description.getTypeName()) {
            entry->registrations.push_back(type);
            return entry->type.get();
        }
    }
    Kr::logMessage(Kr::eLogLevel::kWarn,
                   "KrEnumTable: cannot register %s as %s, the type or the name is registered otherwise.\n",
                   name.c_str(), description.getTypeName().c_str());
    return nullptr;
}

bool KrEnumTable::unregisterEnumeration(const std::type_info& type) {
    const std::string key = Kr::detail::typeKey(type);
    const std::string name = Kr::getTypeName(type);
    const std::lock_guard lock(_state.mutex);
    State::Entry* entry = State::lookUp(_state.byKey, key);
    if (!entry) return false;
    // Remove the type information of the module that is unloaded.
    auto& registrations = entry->registrations;
    const auto own = std::find(registrations.begin(), registrations.end(), &type);
    registrations.erase(own != registrations.end() ? own : registrations.end() - 1);
    entry->type->_type.store(registrations.empty() ? nullptr : registrations.front(), std::memory_order_release);
    if (registrations.empty()) {
        _state.byKey.erase(key);
        _state.byName.erase(entry->type->getTypeName());
        if (State::lookUp(_state.byCppName, name) == entry) _state.byCppName.erase(name);
    }
    return true;
}

const KrEnumTable::EnumType* KrEnumTable::find(const std::type_info& type) const {
    const std::string key = Kr::detail::typeKey(type);
    const std::lock_guard lock(_state.mutex);
    const State::Entry* entry = State::lookUp(_state.byKey, key);
    return entry ? entry->type.get() : nullptr;
}

const KrEnumTable::EnumType* KrEnumTable::find(const std::string& typeName) const {
    const std::lock_guard lock(_state.mutex);
    const State::Entry* entry = State::lookUp(_state.byName, typeName);
    if (!entry) entry = State::lookUp(_state.byCppName, typeName);
    return entry ? entry->type.get() : nullptr;
}

// One enumeration

KrEnumTable::EnumType::EnumType(const std::type_info& type, std::string typeName, Values values)
    : _type(&type),
      _typeName(std::move(typeName)),
      _values(std::move(values)),
      _byValue(_values.size()),
      _byText(_values.size()) {
    std::iota(_byValue.begin(), _byValue.end(), 0U);
    std::iota(_byText.begin(), _byText.end(), 0U);
    // Stable, so that of equal values or texts the first one given is found.
    std::stable_sort(_byValue.begin(), _byValue.end(),
                     [&](auto left, auto right) { return _values[left].first < _values[right].first; });
    std::stable_sort(_byText.begin(), _byText.end(),
                     [&](auto left, auto right) { return _values[left].second < _values[right].second; });
}

KrEnumTable::EnumType::EnumType(const EnumType& other)
    : _type(other.getType()),
      _typeName(other._typeName),
      _values(other._values),
      _byValue(other._byValue),
      _byText(other._byText) {}

KrEnumTable::EnumType::~EnumType() = default;

const std::string* KrEnumTable::EnumType::findText(int value) const noexcept {
    const auto it = std::lower_bound(_byValue.begin(), _byValue.end(), value,
                                     [&](auto index, int wanted) { return _values[index].first < wanted; });
    return it != _byValue.end() && _values[*it].first == value ? &_values[*it].second : nullptr;
}

const int* KrEnumTable::EnumType::findValue(std::string_view text) const noexcept {
    const auto it = std::lower_bound(_byText.begin(), _byText.end(), text, [&](auto index, std::string_view wanted) {
        return _values[index].second < wanted;
    });
    return it != _byText.end() && _values[*it].second == text ? &_values[*it].first : nullptr;
}

}  // namespace KrSim

namespace Kr::detail {

const std::string& keepEnumText(std::string text) {
    static auto& mutex = *new std::mutex;  // guards the texts
    static auto& texts = *new std::unordered_set<std::string>;
    const std::lock_guard lock(mutex);
    return *texts.insert(std::move(text)).first;
}

}  // namespace Kr::detail
