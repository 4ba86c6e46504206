#pragma once

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
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

/// What the typed fields know of a value type: its data type, its components, whether it may have a range.
/// A class that is no specialisation is no value type.
template <class T>
struct ValueTraits;

namespace detail {

template <Types::DataTypeEnum dataType>
struct PlainValueTraits {
    static constexpr auto kDataType = dataType;
    static constexpr int kComponentCount = 1;
    static constexpr bool kHasRange = false;
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

template <class V, class Number, Number V::*... components>
struct VectorComponents {
    static constexpr int kComponentCount = sizeof...(components);
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

template <class V, class Number>
using Components2 = VectorComponents<V, Number, &V::x, &V::y>;
template <class V, class Number>
using Components3 = VectorComponents<V, Number, &V::x, &V::y, &V::z>;
template <class V, class Number>
using Components4 = VectorComponents<V, Number, &V::x, &V::y, &V::z, &V::w>;

}  // namespace detail

template <>
struct ValueTraits<bool> : detail::PlainValueTraits<Types::kBoolean> {};
template <>
struct ValueTraits<int> : detail::NumberValueTraits<int, Types::kInteger> {};
template <>
struct ValueTraits<unsigned int> : detail::NumberValueTraits<unsigned int, Types::kUnsignedInteger> {};
template <>
struct ValueTraits<short> : detail::NumberValueTraits<short, Types::kShort> {};
template <>
struct ValueTraits<unsigned short> : detail::NumberValueTraits<unsigned short, Types::kUnsignedShort> {};
template <>
struct ValueTraits<double> : detail::NumberValueTraits<double, Types::kDouble> {};
template <>
struct ValueTraits<float> : detail::NumberValueTraits<float, Types::kFloat> {};
template <>
struct ValueTraits<std::string> : detail::PlainValueTraits<Types::kString> {};
template <>
struct ValueTraits<Kr::KrString<512>> : detail::PlainValueTraits<Types::kFilename> {};
template <>
struct ValueTraits<Kr::KrEnum> : detail::PlainValueTraits<Types::kEnumeration> {};
template <>
struct ValueTraits<Kr::KrColor> : detail::PlainValueTraits<Types::kColor> {};
template <>
struct ValueTraits<Kr::KrTransform> : detail::PlainValueTraits<Types::kTransform> {};
template <>
struct ValueTraits<KrMath::Vector2T<double>> : detail::Components2<KrMath::Vector2T<double>, double> {
    static constexpr auto kDataType = Types::kVector2;
};
template <>
struct ValueTraits<KrMath::Vector3T<double>> : detail::Components3<KrMath::Vector3T<double>, double> {
    static constexpr auto kDataType = Types::kVector3;
};
template <>
struct ValueTraits<KrMath::Vector4T<double>> : detail::Components4<KrMath::Vector4T<double>, double> {
    static constexpr auto kDataType = Types::kVector4;
};
template <>
struct ValueTraits<KrMath::Vector3T<float>> : detail::Components3<KrMath::Vector3T<float>, float> {
    static constexpr auto kDataType = Types::kVector3Float;
};
template <>
struct ValueTraits<KrMath::QuaternionT<double>> : detail::PlainValueTraits<Types::kQuaternion> {};
template <>
struct ValueTraits<KrMath::QuaternionT<float>> : detail::PlainValueTraits<Types::kQuaternionFloat> {};
template <>
struct ValueTraits<KrMath::Matrix44T<double>> : detail::PlainValueTraits<Types::kMatrix44> {};
template <>
struct ValueTraits<KrMath::Matrix44T<float>> : detail::PlainValueTraits<Types::kMatrix44Float> {};
template <>
struct ValueTraits<KrSim::KrExtension*> : detail::PlainValueTraits<Types::kExtension> {};
template <>
struct ValueTraits<KrGraphics::Material*> : detail::PlainValueTraits<Types::kMaterial> {};

/// Whether `is` answers true for every real number of the value; true where it holds none.
template <class T, class Predicate>
[[nodiscard]] constexpr bool areAllReals(const T& value, const Predicate& is) {
    if constexpr (std::is_floating_point_v<T>) {
        return is(value);
    } else if constexpr (requires { value.m; }) {
        return std::all_of(std::begin(value.m), std::end(value.m), is);
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

/// Whether no number in the value is NaN or infinite; true where it holds no real numbers.
template <class T>
[[nodiscard]] constexpr bool isFinite(const T& value) {
    // The difference of a number and itself is 0, and NaN where it is not finite.
    return areAllReals(value, [](auto number) { return number - number == 0; });
}

/// Whether two values are one and the same, bit by bit where they are plain: -0.0 is not 0.0, and NaN is NaN.
template <class T>
[[nodiscard]] bool isIdentical(const T& first, const T& second) {
    if constexpr (std::is_trivially_copyable_v<T>) {
        return std::memcmp(&first, &second, sizeof(T)) == 0;
    } else {
        return first == second;
    }
}

/// Expands `each(T)` for every value type.
#define KR_FOR_EACH_VALUE_TYPE(each)                                                                            \
    each(bool) each(int) each(unsigned int) each(short) each(unsigned short) each(double) each(float)           \
        each(std::string) each(Kr::KrString<512>) each(Kr::KrEnum) each(Kr::KrColor) each(Kr::KrTransform)      \
            each(KrMath::Vector2T<double>) each(KrMath::Vector3T<double>) each(KrMath::Vector4T<double>)        \
                each(KrMath::QuaternionT<double>) each(KrMath::Matrix44T<double>) each(KrMath::Vector3T<float>) \
                    each(KrMath::QuaternionT<float>) each(KrMath::Matrix44T<float>) each(KrSim::KrExtension*)   \
                        each(KrGraphics::Material*)

}  // namespace KrData
