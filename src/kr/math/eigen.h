#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>

#include "kr/math/matrix44.h"
#include "kr/math/quaternion.h"
#include "kr/math/transform.h"
#include "kr/math/vector2.h"
#include "kr/math/vector3.h"
#include "kr/math/vector4.h"

// Views of the value types for Eigen; nothing is copied. A view is valid as long as its value. This header is not
// part of <kr/foundation.h>: code that includes it needs Eigen and pays for its compile time.

namespace KrMath {

template <class T>
[[nodiscard]] Eigen::Map<Eigen::Matrix<T, 2, 1>> toEigen(Vector2T<T>& vector) noexcept {
    return Eigen::Map<Eigen::Matrix<T, 2, 1>>(&vector.x);
}
template <class T>
[[nodiscard]] Eigen::Map<const Eigen::Matrix<T, 2, 1>> toEigen(const Vector2T<T>& vector) noexcept {
    return Eigen::Map<const Eigen::Matrix<T, 2, 1>>(&vector.x);
}

template <class T>
[[nodiscard]] Eigen::Map<Eigen::Matrix<T, 3, 1>> toEigen(Vector3T<T>& vector) noexcept {
    return Eigen::Map<Eigen::Matrix<T, 3, 1>>(&vector.x);
}
template <class T>
[[nodiscard]] Eigen::Map<const Eigen::Matrix<T, 3, 1>> toEigen(const Vector3T<T>& vector) noexcept {
    return Eigen::Map<const Eigen::Matrix<T, 3, 1>>(&vector.x);
}

template <class T>
[[nodiscard]] Eigen::Map<Eigen::Matrix<T, 4, 1>> toEigen(Vector4T<T>& vector) noexcept {
    return Eigen::Map<Eigen::Matrix<T, 4, 1>>(&vector.x);
}
template <class T>
[[nodiscard]] Eigen::Map<const Eigen::Matrix<T, 4, 1>> toEigen(const Vector4T<T>& vector) noexcept {
    return Eigen::Map<const Eigen::Matrix<T, 4, 1>>(&vector.x);
}

template <class T>
[[nodiscard]] Eigen::Map<Eigen::Quaternion<T>> toEigen(QuaternionT<T>& quaternion) noexcept {
    return Eigen::Map<Eigen::Quaternion<T>>(&quaternion.x);
}
template <class T>
[[nodiscard]] Eigen::Map<const Eigen::Quaternion<T>> toEigen(const QuaternionT<T>& quaternion) noexcept {
    return Eigen::Map<const Eigen::Quaternion<T>>(&quaternion.x);
}

template <class T>
[[nodiscard]] Eigen::Map<Eigen::Matrix<T, 4, 4, Eigen::RowMajor>> toEigen(Matrix44T<T>& matrix) noexcept {
    return Eigen::Map<Eigen::Matrix<T, 4, 4, Eigen::RowMajor>>(matrix.m);
}
template <class T>
[[nodiscard]] Eigen::Map<const Eigen::Matrix<T, 4, 4, Eigen::RowMajor>> toEigen(const Matrix44T<T>& matrix) noexcept {
    return Eigen::Map<const Eigen::Matrix<T, 4, 4, Eigen::RowMajor>>(matrix.m);
}

[[nodiscard]] inline Eigen::Map<Eigen::Matrix<double, 4, 4, Eigen::RowMajor>> toEigen(
    Kr::KrTransform& transform) noexcept {
    return Eigen::Map<Eigen::Matrix<double, 4, 4, Eigen::RowMajor>>(transform.m);
}
[[nodiscard]] inline Eigen::Map<const Eigen::Matrix<double, 4, 4, Eigen::RowMajor>> toEigen(
    const Kr::KrTransform& transform) noexcept {
    return Eigen::Map<const Eigen::Matrix<double, 4, 4, Eigen::RowMajor>>(transform.m);
}

}  // namespace KrMath
