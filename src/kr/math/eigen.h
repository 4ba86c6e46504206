#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <type_traits>

#include "kr/math/matrix44.h"
#include "kr/math/quaternion.h"
#include "kr/math/transform.h"
#include "kr/math/vector2.h"
#include "kr/math/vector3.h"
#include "kr/math/vector4.h"

// Views of the value types for Eigen; nothing is copied. A view is valid as long as its value. This header is not
// part of <kr/foundation.h>: code that includes it needs Eigen and pays for its compile time.

namespace KrMath {

namespace detail {

/// The type of Eigen with the layout of a value type.
template <class Value>
struct EigenType;
template <class T>
struct EigenType<Vector2T<T>> : std::type_identity<Eigen::Matrix<T, 2, 1>> {};
template <class T>
struct EigenType<Vector3T<T>> : std::type_identity<Eigen::Matrix<T, 3, 1>> {};
template <class T>
struct EigenType<Vector4T<T>> : std::type_identity<Eigen::Matrix<T, 4, 1>> {};
template <class T>
struct EigenType<QuaternionT<T>> : std::type_identity<Eigen::Quaternion<T>> {};
template <class T>
struct EigenType<Matrix44T<T>> : std::type_identity<Eigen::Matrix<T, 4, 4, Eigen::RowMajor>> {};
template <>
struct EigenType<Kr::KrTransform> : std::type_identity<Eigen::Matrix<double, 4, 4, Eigen::RowMajor>> {};

template <class Value>
[[nodiscard]] auto* firstNumber(Value& value) noexcept {
    if constexpr (requires { value.m; }) {
        return value.m;
    } else {
        return &value.x;
    }
}

}  // namespace detail

template <class Value>
[[nodiscard]] Eigen::Map<typename detail::EigenType<Value>::type> toEigen(Value& value) noexcept {
    return Eigen::Map<typename detail::EigenType<Value>::type>(detail::firstNumber(value));
}
template <class Value>
[[nodiscard]] Eigen::Map<const typename detail::EigenType<Value>::type> toEigen(const Value& value) noexcept {
    return Eigen::Map<const typename detail::EigenType<Value>::type>(detail::firstNumber(value));
}

}  // namespace KrMath
