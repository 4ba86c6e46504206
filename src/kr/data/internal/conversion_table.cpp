#include "kr/data/internal/conversion_table.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "kr/data/field.h"
#include "kr/data/internal/number_conversion.h"
#include "kr/data/internal/number_text.h"
#include "kr/data/internal/set_converted.h"

namespace KrData::detail {

namespace {

using FileName = Kr::KrString<512>;
using Vector3 = KrMath::Vector3T<double>;
using Vector3Float = KrMath::Vector3T<float>;

/// The value types that convert to or from others.
using Convertible =
    std::tuple<bool, int, unsigned int, short, unsigned short, double, float, Kr::KrEnum, std::string, FileName>;
constexpr std::size_t kConvertibleCount = std::tuple_size_v<Convertible>;

template <class T>
constexpr bool kIsText = std::is_same_v<T, std::string> || std::is_same_v<T, FileName>;
template <class T>
constexpr bool kIsEnum = std::is_same_v<T, Kr::KrEnum>;

// The table is indexed by data type, so the class of the field is known.
template <class T>
const T& valueOf(const FieldBase& field) {
    return static_cast<const Field<T>&>(field).getValue();
}

template <class T>
bool setValue(FieldBase& field, const T& value) {
    return setConverted(static_cast<Field<T>&>(field), value);
}

// --- Enumerations --------------------------------------------------------------------------------------------------

const Kr::KrEnum::EnumType* enumerationOf(const Kr::KrEnum& value) {
    const auto* type = value.getType();
    return type != nullptr ? Kr::KrEnum::getEnumeration(*type) : nullptr;
}

bool setEnumeration(FieldBase& sink, int number) {
    Kr::KrEnum value = valueOf<Kr::KrEnum>(sink);
    if (value == number) return true;
    const auto* type = enumerationOf(value);
    if (type == nullptr || type->findText(number) == nullptr) return false;
    value.setValue(number);
    return setValue(sink, value);
}

// --- Between numbers and text --------------------------------------------------------------------------------------

/// The text of a number reads back as the same number, that of an enumeration as the same value.
std::string textOf(const FieldBase& source) {
    auto text = source.toString();
    if (text.empty() && source.getDataType() == Types::kEnumeration) return std::to_string(source.toInteger());
    return text;
}

template <class Text>
std::string_view viewOf(const FieldBase& source) {
    return valueOf<Text>(source);
}

bool textToReal(std::string_view text, FieldBase& sink) {
    const auto number = numberFromText<double>(text);
    return number && std::isfinite(*number) && setNumber(sink, *number);
}

template <class To>
bool textToNumber(std::string_view text, FieldBase& sink) {
    if constexpr (std::is_floating_point_v<To>) {
        const auto number = numberFromText<To>(text);
        return number && setValue<To>(sink, *number);
    } else if constexpr (std::is_same_v<To, bool>) {
        if (text == "true" || text == "false") return setValue<bool>(sink, text == "true");
        return textToReal(text, sink);
    } else if constexpr (kIsEnum<To>) {
        const auto* type = enumerationOf(valueOf<Kr::KrEnum>(sink));
        const int* named = type != nullptr ? type->findValue(text) : nullptr;
        return named != nullptr ? setEnumeration(sink, *named) : textToReal(text, sink);
    } else {
        return textToReal(text, sink);
    }
}

// --- The table -----------------------------------------------------------------------------------------------------

bool always(const FieldBase&, const FieldBase&) {
    return true;
}

/// A number of no known enumeration would mean nothing.
bool sinkIsTyped(const FieldBase&, const FieldBase& sink) {
    return valueOf<Kr::KrEnum>(sink).getType() != nullptr;
}

template <class From, class To>
bool convert(const FieldBase& source, FieldBase& sink) {
    if constexpr (kIsText<From> && kIsText<To>) {
        return setValue(sink, To(viewOf<From>(source)));
    } else if constexpr (kIsText<To>) {
        return setValue(sink, To(textOf(source)));
    } else if constexpr (kIsText<From>) {
        return textToNumber<To>(viewOf<From>(source), sink);
    } else if constexpr (kIsEnum<From>) {
        return setValue(sink, convertNumber<To>(static_cast<int>(valueOf<From>(source))));
    } else if constexpr (kIsEnum<To>) {
        return setEnumeration(sink, convertNumber<int>(valueOf<From>(source)));
    } else {
        return setValue(sink, convertNumber<To>(valueOf<From>(source)));
    }
}

bool toFloats(const FieldBase& source, FieldBase& sink) {
    const auto& from = valueOf<Vector3>(source);
    return setValue(sink, Vector3Float{toFloat(from.x), toFloat(from.y), toFloat(from.z)});
}

bool toDoubles(const FieldBase& source, FieldBase& sink) {
    const auto& from = valueOf<Vector3Float>(source);
    return setValue(sink, Vector3{from.x, from.y, from.z});
}

using Table = std::array<Conversion, kConvertibleCount * kConvertibleCount>;

template <std::size_t index>
constexpr Conversion conversionAt() {
    using From = std::tuple_element_t<index / kConvertibleCount, Convertible>;
    using To = std::tuple_element_t<index % kConvertibleCount, Convertible>;
    if constexpr (std::is_same_v<From, To>) {
        return {};
    } else {
        return {kIsEnum<To> ? sinkIsTyped : always, convert<From, To>};
    }
}

template <std::size_t... indices>
constexpr Table makeTable(std::index_sequence<indices...>) {
    return {conversionAt<indices>()...};
}

constexpr Table kTable = makeTable(std::make_index_sequence<kConvertibleCount * kConvertibleCount>());
constexpr Conversion kToFloats{always, toFloats};
constexpr Conversion kToDoubles{always, toDoubles};

/// The place of each data type in Convertible; the count for others.
template <std::size_t... indices>
constexpr auto makePlaces(std::index_sequence<indices...>) {
    std::array<std::uint8_t, 256> places{};
    places.fill(kConvertibleCount);
    ((places[ValueTraits<std::tuple_element_t<indices, Convertible>>::kDataType] = indices), ...);
    return places;
}

constexpr auto kPlaces = makePlaces(std::make_index_sequence<kConvertibleCount>());

}  // namespace

const Conversion* findConversion(Types::DataTypeEnum source, Types::DataTypeEnum sink) noexcept {
    const std::size_t from = kPlaces[source];
    const std::size_t to = kPlaces[sink];
    if (from < kConvertibleCount && to < kConvertibleCount) {
        return from != to ? &kTable[from * kConvertibleCount + to] : nullptr;
    }
    if (source == Types::kVector3 && sink == Types::kVector3Float) return &kToFloats;
    if (source == Types::kVector3Float && sink == Types::kVector3) return &kToDoubles;
    return nullptr;
}

bool setNumber(FieldBase& sink, double value) {
    return withValueType(sink.getDataType(), [&]<class T>(std::type_identity<T>) {
        if constexpr (std::is_arithmetic_v<T>) return setValue(sink, convertNumber<T>(value));
        if constexpr (kIsEnum<T>) return setEnumeration(sink, roundTo<int>(value));
        return false;
    });
}

}  // namespace KrData::detail
