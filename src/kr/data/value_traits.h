#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "kr/core/color.h"
#include "kr/core/enum.h"
#include "kr/data/types.h"
#include "kr/math/matrix44.h"
#include "kr/math/quaternion.h"
#include "kr/math/transform.h"
#include "kr/math/vector2.h"
#include "kr/math/vector3.h"
#include "kr/math/vector4.h"
#include "kr/platform/fixed_string.h"

namespace KrData {

/// The properties of a value type. A class without a specialisation is no value type.
///
/// A new value type gets its number in Types::DataTypeEnum, a specialisation here, and its place in the list below;
/// fields, vectors, files, states, texts and tables follow from these.
///
///     kDataType, kName      its number and its display name
///     kHasRange             whether a field of it may have a range: isOrdered() and clamp() then
/// Component             the type of the numbers of which it consists; void when it consists of anything else
/// kComponentCount       their number; 1 without a Component
///     kComponentNames       a letter for each component, empty for one number and for a matrix of rows and columns
///     kIsConvertedByParts   whether fields of other types convert component by component: its components are reals
///                           that mean the same each for itself, as those of a vector and not of a quaternion
template <class T>
struct ValueTraits;

namespace detail {

template <Types::DataTypeEnum dataType>
struct PlainValueTraits {
    static constexpr auto kDataType = dataType;
    static constexpr bool kHasRange = false;
    using Component = void;
    static constexpr int kComponentCount = 1;
    static constexpr std::string_view kComponentNames{};
    static constexpr bool kIsConvertedByParts = false;
};

template <class T, Types::DataTypeEnum dataType>
struct NumberValueTraits : PlainValueTraits<dataType> {
    static constexpr bool kHasRange = true;
    [[nodiscard]] static constexpr bool isOrdered(T minimum, T maximum) { return minimum <= maximum; }
    static constexpr void clamp(T& value, T minimum, T maximum) {
        if (value < minimum) value = minimum;
        if (value > maximum) value = maximum;
    }
};

template <Types::DataTypeEnum dataType, class Number, int count>
struct TupleValueTraits : PlainValueTraits<dataType> {
    using Component = Number;
    static constexpr int kComponentCount = count;
};

/// Four rows of four numbers.
template <Types::DataTypeEnum dataType, class Number>
using MatrixValueTraits = TupleValueTraits<dataType, Number, 16>;

template <Types::DataTypeEnum dataType, class Number>
struct QuaternionValueTraits : TupleValueTraits<dataType, Number, 4> {
    static constexpr std::string_view kComponentNames = "XYZW";
};

template <class V, Types::DataTypeEnum dataType, class Number, Number V::*... components>
struct VectorValueTraits : TupleValueTraits<dataType, Number, sizeof...(components)> {
    static constexpr std::string_view kComponentNames = std::string_view("XYZW").substr(0, sizeof...(components));
    static constexpr bool kIsConvertedByParts = true;
    static constexpr bool kHasRange = true;
    [[nodiscard]] static constexpr bool isOrdered(const V& minimum, const V& maximum) {
        return (... && (minimum.*components <= maximum.*components));
    }
    static constexpr void clamp(V& value, const V& minimum, const V& maximum) {
        const auto one = [&](Number V::*component) {
            if (value.*component < minimum.*component) value.*component = minimum.*component;
            if (value.*component > maximum.*component) value.*component = maximum.*component;
        };
        (one(components), ...);
    }
};

template <class V, Types::DataTypeEnum dataType, class Number>
using Vector2Traits = VectorValueTraits<V, dataType, Number, &V::x, &V::y>;
template <class V, Types::DataTypeEnum dataType, class Number>
using Vector3Traits = VectorValueTraits<V, dataType, Number, &V::x, &V::y, &V::z>;
template <class V, Types::DataTypeEnum dataType, class Number>
using Vector4Traits = VectorValueTraits<V, dataType, Number, &V::x, &V::y, &V::z, &V::w>;

}  // namespace detail

template <>
struct ValueTraits<bool> : detail::PlainValueTraits<Types::kBoolean> {
    static constexpr const char* kName = "Boolean";
};
template <>
struct ValueTraits<int> : detail::NumberValueTraits<int, Types::kInteger> {
    static constexpr const char* kName = "Integer";
};
template <>
struct ValueTraits<unsigned int> : detail::NumberValueTraits<unsigned int, Types::kUnsignedInteger> {
    static constexpr const char* kName = "Unsigned Integer";
};
template <>
struct ValueTraits<short> : detail::NumberValueTraits<short, Types::kShort> {
    static constexpr const char* kName = "Short Integer";
};
template <>
struct ValueTraits<unsigned short> : detail::NumberValueTraits<unsigned short, Types::kUnsignedShort> {
    static constexpr const char* kName = "Unsigned Short Integer";
};
template <>
struct ValueTraits<double> : detail::NumberValueTraits<double, Types::kDouble> {
    static constexpr const char* kName = "Double";
};
template <>
struct ValueTraits<float> : detail::NumberValueTraits<float, Types::kFloat> {
    static constexpr const char* kName = "Float";
};
template <>
struct ValueTraits<std::string> : detail::PlainValueTraits<Types::kString> {
    static constexpr const char* kName = "String";
};
template <>
struct ValueTraits<Kr::KrString<512>> : detail::PlainValueTraits<Types::kFilename> {
    static constexpr const char* kName = "Filename";
};
template <>
struct ValueTraits<Kr::KrEnum> : detail::PlainValueTraits<Types::kEnumeration> {
    static constexpr const char* kName = "Enumeration";
};
template <>
struct ValueTraits<Kr::KrColor> : detail::TupleValueTraits<Types::kColor, float, 4> {
    static constexpr const char* kName = "Color";
    static constexpr std::string_view kComponentNames = "RGBA";
};
template <>
struct ValueTraits<Kr::KrTransform> : detail::MatrixValueTraits<Types::kTransform, double> {
    static constexpr const char* kName = "Transform";
    static constexpr bool kIsConvertedByParts = true;
};
template <>
struct ValueTraits<KrMath::Vector2T<double>>
    : detail::Vector2Traits<KrMath::Vector2T<double>, Types::kVector2, double> {
    static constexpr const char* kName = "Vector 2";
};
template <>
struct ValueTraits<KrMath::Vector3T<double>>
    : detail::Vector3Traits<KrMath::Vector3T<double>, Types::kVector3, double> {
    static constexpr const char* kName = "Vector 3";
};
template <>
struct ValueTraits<KrMath::Vector4T<double>>
    : detail::Vector4Traits<KrMath::Vector4T<double>, Types::kVector4, double> {
    static constexpr const char* kName = "Vector 4";
};
template <>
struct ValueTraits<KrMath::Vector3T<float>>
    : detail::Vector3Traits<KrMath::Vector3T<float>, Types::kVector3Float, float> {
    static constexpr const char* kName = "Vector 3 float";
};
template <>
struct ValueTraits<KrMath::QuaternionT<double>> : detail::QuaternionValueTraits<Types::kQuaternion, double> {
    static constexpr const char* kName = "Quaternion";
};
template <>
struct ValueTraits<KrMath::QuaternionT<float>> : detail::QuaternionValueTraits<Types::kQuaternionFloat, float> {
    static constexpr const char* kName = "Quaternion float";
};
template <>
struct ValueTraits<KrMath::Matrix44T<double>> : detail::MatrixValueTraits<Types::kMatrix44, double> {
    static constexpr const char* kName = "Matrix 4x4";
};
template <>
struct ValueTraits<KrMath::Matrix44T<float>> : detail::MatrixValueTraits<Types::kMatrix44Float, float> {
    static constexpr const char* kName = "Matrix44 float";
};
template <>
struct ValueTraits<KrSim::KrExtension*> : detail::PlainValueTraits<Types::kExtension> {
    static constexpr const char* kName = "Extension Pointer";
};
template <>
struct ValueTraits<KrGraphics::Material*> : detail::PlainValueTraits<Types::kMaterial> {
    static constexpr const char* kName = "Material Pointer";
};

/// Expands `each(T)` for every value type except the pointers.
#define KR_FOR_EACH_PLAIN_VALUE_TYPE(each)                                                                      \
    each(bool) each(int) each(unsigned int) each(short) each(unsigned short) each(double) each(float)           \
        each(std::string) each(Kr::KrString<512>) each(Kr::KrEnum) each(Kr::KrColor) each(Kr::KrTransform)      \
            each(KrMath::Vector2T<double>) each(KrMath::Vector3T<double>) each(KrMath::Vector4T<double>)        \
                each(KrMath::QuaternionT<double>) each(KrMath::Matrix44T<double>) each(KrMath::Vector3T<float>) \
                    each(KrMath::QuaternionT<float>) each(KrMath::Matrix44T<float>)

/// Expands `each(T)` for every value type.
#define KR_FOR_EACH_VALUE_TYPE(each) \
    KR_FOR_EACH_PLAIN_VALUE_TYPE(each) each(KrSim::KrExtension*) each(KrGraphics::Material*)

/// Returns `action(std::type_identity<T>())` for the value type of the data type; for a data type without one, a
/// default value of the result type.
template <class Action>
constexpr auto withValueType(Types::DataTypeEnum dataType, Action&& action) {
    using Answer = decltype(action(std::type_identity<bool>()));
    switch (dataType) {
#define KR_VALUE_TYPE_CASE(T)       \
    case ValueTraits<T>::kDataType: \
        return action(std::type_identity<T>());
        KR_FOR_EACH_VALUE_TYPE(KR_VALUE_TYPE_CASE)
#undef KR_VALUE_TYPE_CASE
        default:
            return Answer();
    }
}

/// Whether values of the type consist of numbers of one kind.
template <class T>
inline constexpr bool kHasComponents = !std::is_void_v<typename ValueTraits<T>::Component>;

/// The numbers of such a value in the order of its members: those of a matrix row by row.
template <class T>
[[nodiscard]] constexpr auto getComponents(const T& value) requires kHasComponents<T> {
    using Traits = ValueTraits<T>;
    return std::bit_cast<std::array<typename Traits::Component, std::size_t{Traits::kComponentCount}>>(value);
}

/// Whether `is` returns true for every real number of the value; true without real numbers.
template <class T, class Predicate>
[[nodiscard]] constexpr bool areAllReals(const T& value, const Predicate& is) {
    if constexpr (std::is_floating_point_v<T>) {
        return is(value);
    } else if constexpr (requires { value.m; }) {
        for (const auto& number : value.m)
            if (!is(number)) return false;
        return true;
    } else if constexpr (requires { value.w; }) {
        return is(value.x) && is(value.y) && is(value.z) && is(value.w);
    } else if constexpr (requires { value.z; }) {
        return is(value.x) && is(value.y) && is(value.z);
    } else if constexpr (requires { value.y; }) {
        return is(value.x) && is(value.y);
    } else {
        return true;
    }
}

/// Whether no number in the value is NaN or infinite; true without real numbers.
template <class T>
[[nodiscard]] constexpr bool isFinite(const T& value) {
    // The difference of a number and itself is 0, and NaN when it is not finite.
    return areAllReals(value, [](auto number) { return number - number == 0; });
}

/// Whether two values are identical, bit by bit for plain types: -0.0 is not 0.0, and NaN equals NaN.
template <class T>
[[nodiscard]] bool isIdentical(const T& first, const T& second) {
    if constexpr (std::is_trivially_copyable_v<T>) {
        // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison,bugprone-sizeof-expression): it is the bits that count
        return std::memcmp(&first, &second, sizeof(T)) == 0;
    } else {
        return first == second;
    }
}

}  // namespace KrData
