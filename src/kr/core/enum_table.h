#pragma once

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "kr/platform/export.h"

namespace KrSim {

/// The process-wide table of registered enumerations, by run-time type and by type name.
///
/// Used through Kr::KrEnum; authors register with KR_REGISTER_ENUM (kr/core/enum.h).
/// Thread: any, also in static objects. Ownership: one instance, never destroyed.
class KR_API KrEnumTable {
public:
    class EnumType;

    static KrEnumTable& _instance();
    KrEnumTable(const KrEnumTable&) = delete;
    KrEnumTable& operator=(const KrEnumTable&) = delete;

    /// Enters an enumeration and returns the table's copy of it, which is never destroyed. An enumeration that is
    /// registered already under the same name is counted once more and keeps its first texts, so that several modules
    /// may register one enumeration. Returns null, with a warning, when the type is registered under another name or
    /// the name for another type.
    const EnumType* registerEnumeration(const EnumType& description);
    /// Ends one registration; with the last one the enumeration is unknown again. False when it is unknown.
    bool unregisterEnumeration(const std::type_info& type);

    /// The registered enumeration, or null.
    [[nodiscard]] const EnumType* find(const std::type_info& type) const;
    /// By registered name, or by the C++ name of the type.
    [[nodiscard]] const EnumType* find(const std::string& typeName) const;

private:
    struct State;

    KrEnumTable();
    ~KrEnumTable() = delete;

    State& _state;
};

/// One enumeration: its run-time type, its name, and its values with their texts.
///
/// The table's copies are never freed, so that values may point to them; `isRegistered` returns whether the enumeration
/// is registered now.
/// Thread: any for const functions. Ownership: value.
class KR_API KrEnumTable::EnumType {
public:
    using Values = std::vector<std::pair<int, std::string>>;

    /// When a value or a text is listed twice, the first pair is used.
    EnumType(const std::type_info& type, std::string typeName, Values values);
    /// From the enumerators of a C++ enumeration and their texts.
    template <class Enumeration>
    [[nodiscard]] static EnumType of(std::string typeName,
                                     std::initializer_list<std::pair<Enumeration, const char*>> values);
    EnumType(const EnumType& other);
    EnumType& operator=(const EnumType&) = delete;
    ~EnumType();

    /// The run-time type; null after the enumeration was unregistered, as its module may be unloaded.
    [[nodiscard]] const std::type_info* getType() const noexcept { return _type.load(std::memory_order_acquire); }
    /// For the table's copies: whether the enumeration is registered.
    [[nodiscard]] bool isRegistered() const noexcept { return getType() != nullptr; }
    /// As registered, with its namespaces.
    [[nodiscard]] const std::string& getTypeName() const noexcept { return _typeName; }
    /// The pairs in the order given.
    [[nodiscard]] const Values& getValues() const noexcept { return _values; }

    /// The display text of a value, or null.
    [[nodiscard]] const std::string* findText(int value) const noexcept;
    /// The value of a display text, or null.
    [[nodiscard]] const int* findValue(std::string_view text) const noexcept;

private:
    friend class KrEnumTable;

    std::atomic<const std::type_info*> _type;  // the table replaces it while readers hold the entry
    std::string _typeName;
    Values _values;
    std::vector<std::uint32_t> _byValue;  // indexes into _values
    std::vector<std::uint32_t> _byText;
};

template <class Enumeration>
KrEnumTable::EnumType KrEnumTable::EnumType::of(std::string typeName,
                                                std::initializer_list<std::pair<Enumeration, const char*>> values) {
    static_assert(std::is_enum_v<Enumeration>);
    Values list;
    list.reserve(values.size());
    for (const auto& [value, text] : values)
        list.emplace_back(static_cast<int>(value), text);
    return EnumType(typeid(Enumeration), std::move(typeName), std::move(list));
}

}  // namespace KrSim
