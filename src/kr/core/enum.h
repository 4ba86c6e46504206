#pragma once

#include <optional>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "kr/core/enum_table.h"
#include "kr/platform/export.h"

/// Registers an enumeration with its display texts while the library or plug-in is loaded. In a source file:
///
///     KR_REGISTER_ENUM(Demo::eGear, {Demo::eGear::kPark, "Park"}, {Demo::eGear::kDrive, "Drive"});
///
/// The type name is the first argument as written: write it in full, it is stored in content.
#define KR_REGISTER_ENUM(Enumeration, ...) KR_REGISTER_ENUM_AT_(__COUNTER__, Enumeration, __VA_ARGS__)
#define KR_REGISTER_ENUM_AT_(counter, Enumeration, ...) KR_REGISTER_ENUM_AS_(counter, Enumeration, __VA_ARGS__)
#define KR_REGISTER_ENUM_AS_(counter, Enumeration, ...)                              \
    static const ::Kr::KrEnum::Register krRegisteredEnum##counter {                  \
        ::KrSim::KrEnumTable::EnumType::of<Enumeration>(#Enumeration, {__VA_ARGS__}) \
    }

namespace Kr {

/// A value of a registered enumeration together with its type, so that generic code can show and parse it by name.
///
/// A value is *typed* while its enumeration is registered, and *untyped* otherwise. A value made before its enumeration
/// was registered keeps the type's name and becomes typed as soon as that name is registered; a value whose enumeration
/// is unregistered keeps number and text and becomes untyped.
/// Thread: value. Ownership: value.
class KR_API KrEnum {
public:
    using EnumType = KrSim::KrEnumTable::EnumType;

    class Register;

    KrEnum() noexcept;  ///< Untyped, 0.
    /// Accepts any number; the text is empty when the enumeration has none for it.
    KrEnum(const std::type_info& type, int value);
    template <class Enumeration, class = std::enable_if_t<std::is_enum_v<Enumeration>>>
    explicit KrEnum(Enumeration value) : KrEnum(typeid(Enumeration), static_cast<int>(value)) {}
    /// A value from stored content. When the enumeration is registered and has the text, the text decides, so that a
    /// value is found again after its enumeration was renumbered; else the number does, and name and text of an unknown
    /// enumeration are kept.
    [[nodiscard]] static KrEnum _fromStored(const std::string& typeName, int value, const std::string& text);
    KrEnum(const KrEnum& other) noexcept = default;
    ~KrEnum() = default;

    /// Between values of one type, and to or from an untyped value: takes the other's value; the result is typed when
    /// both are, or when this one was untyped and the other was not. Between different types: a warning, no change.
    KrEnum& operator=(const KrEnum& other);

    /// Null for an untyped value.
    [[nodiscard]] const std::type_info* getType() const;
    /// The registered type name; for an untyped value the stored name, or an empty text.
    [[nodiscard]] const std::string& getTypeString() const;
    [[nodiscard]] operator int() const noexcept { return _value; }  ///< The number of the value.
    /// The display text of the value, never destroyed; empty when there is none.
    [[nodiscard]] const std::string& toString() const;
    /// Number and display text.
    [[nodiscard]] std::pair<int, std::string> getRawValues() const { return {_value, toString()}; }
    /// The value as a C++ enumeration; empty for another type.
    template <class Enumeration>
    [[nodiscard]] std::optional<Enumeration> get() const;

    /// Sets the value from its display text. False, unchanged, if untyped, and with a warning for an unknown text.
    bool fromString(const std::string& text);
    /// Sets the number; a number that the enumeration does not have is refused with a warning. An untyped value takes
    /// any number, with a warning. Always true.
    bool setValue(int value);

    /// Whether number and type are the same; the types of untyped values are compared by their names.
    friend bool operator==(const KrEnum& left, const KrEnum& right) {
        return left._value == right._value && left._hasTypeOf(right);
    }

    // The table. Results are never destroyed; null or false for an unknown enumeration.

    [[nodiscard]] static bool isTypeEnum(const std::type_info& type);  ///< Whether the type is registered.
    [[nodiscard]] static const EnumType* getEnumeration(const std::string& typeName);
    [[nodiscard]] static const EnumType* getEnumeration(const std::type_info& type);
    /// Registers by a call what KR_REGISTER_ENUM registers by a static object; see KrEnumTable::registerEnumeration.
    static const EnumType* _registerEnumeration(const std::type_info& type, const std::string& name,
                                                EnumType::Values values = {});
    static bool _unregisterEnumeration(const std::type_info& type);
    [[nodiscard]] static KrSim::KrEnumTable& _getTable();

private:
    // The enumeration as of now, or null for an untyped value.
    [[nodiscard]] const EnumType* _resolve() const;
    [[nodiscard]] bool _hasTypeOf(const KrEnum& other) const;
    // Takes up an enumeration that was registered since the value was made.
    const EnumType* _validate();

    // Type entries, texts and names are never destroyed, so values are copied without allocation and never dangle.
    int _value{0};
    const EnumType* _type{nullptr};  // may have been unregistered meanwhile
    const std::string* _text;
    const std::string* _typeName;
};

/// Keeps an enumeration registered during its lifetime. See KR_REGISTER_ENUM.
/// Thread: any. Ownership: one registration.
class KR_API KrEnum::Register {
public:
    explicit Register(const EnumType& type);
    Register(const Register&) = delete;
    Register& operator=(const Register&) = delete;
    ~Register();

private:
    const std::type_info* _type{nullptr};  // null when the table refused
};

template <class Enumeration>
std::optional<Enumeration> KrEnum::get() const {
    const std::type_info* type = getType();
    if (!type || *type != typeid(Enumeration)) return std::nullopt;
    return static_cast<Enumeration>(_value);
}

}  // namespace Kr
