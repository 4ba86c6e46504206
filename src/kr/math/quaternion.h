#pragma once

#include <cmath>
#include <type_traits>

#include "kr/math/largest.h"
#include "kr/math/vector3.h"
#include "kr/platform/export.h"

namespace KrMath {

/// Quaternion, the identity by default. The components are in the order x, y, z, w, the scalar part last, in memory and
/// in braces. Unit quaternions are rotations; q and -q are the same rotation but do not compare equal.
/// Thread: value. Ownership: value.
template <class T>
struct KR_API QuaternionT {
    T x{0}, y{0}, z{0}, w{1};

    /// Rotation about the axis, counter-clockwise when seen against its direction. The axis is normalized first; an
    /// axis of length zero, and an axis or angle that is not finite, give the identity.
    [[nodiscard]] static QuaternionT fromAxisAngle(const Vector3T<T>& axis, T angleRadians) noexcept;

    constexpr bool operator==(const QuaternionT&) const = default;

    /// The Hamilton product: as a rotation, right first and then left.
    friend constexpr QuaternionT operator*(const QuaternionT& left, const QuaternionT& right) noexcept {
        return {left.w * right.x + left.x * right.w + left.y * right.z - left.z * right.y,
                left.w * right.y - left.x * right.z + left.y * right.w + left.z * right.x,
                left.w * right.z + left.x * right.y - left.y * right.x + left.z * right.w,
                left.w * right.w - left.x * right.x - left.y * right.y - left.z * right.z};
    }
    /// As a rotation: other first, then the quaternion before this call.
    constexpr QuaternionT& operator*=(const QuaternionT& other) noexcept { return *this = *this * other; }

    [[nodiscard]] constexpr T dot(const QuaternionT& other) const noexcept {
        return x * other.x + y * other.y + z * other.z + w * other.w;
    }
    /// Infinite when a component exceeds the square root of the largest T.
    [[nodiscard]] T length() const noexcept { return std::sqrt(dot(*this)); }
    /// False when a component is NaN or infinite.
    [[nodiscard]] bool isFinite() const noexcept {
        return std::isfinite(x) && std::isfinite(y) && std::isfinite(z) && std::isfinite(w);
    }

    /// Scales to length 1. False, and unchanged, when all components are zero or one is not finite.
    bool normalize() noexcept {
        const T largest =
            detail::getLarger(detail::getLarger(std::abs(x), std::abs(y)), detail::getLarger(std::abs(z), std::abs(w)));
        if (!(largest > T{0}) || !isFinite()) return false;
        const QuaternionT scaled{x / largest, y / largest, z / largest, w / largest};
        const T scaledLength = scaled.length();
        *this = {scaled.x / scaledLength, scaled.y / scaledLength, scaled.z / scaledLength, scaled.w / scaledLength};
        return true;
    }
    /// The unit quaternion in this direction; the identity when normalize() would fail.
    [[nodiscard]] QuaternionT normalized() const noexcept {
        QuaternionT result = *this;
        return result.normalize() ? result : QuaternionT();
    }

    /// The opposite rotation of a unit quaternion.
    [[nodiscard]] constexpr QuaternionT conjugate() const noexcept { return {-x, -y, -z, w}; }
    /// The inverse under multiplication; not finite for zero.
    [[nodiscard]] constexpr QuaternionT inverse() const noexcept {
        const T squared = dot(*this);
        return {-x / squared, -y / squared, -z / squared, w / squared};
    }

    /// Rotates a vector. Only for unit quaternions.
    [[nodiscard]] constexpr Vector3T<T> rotate(const Vector3T<T>& vector) const noexcept {
        const Vector3T<T> axis{x, y, z};
        const Vector3T<T> turn = axis.cross(vector) * T{2};
        return vector + turn * w + axis.cross(turn);
    }

    /// The rotation at the given part of the way to other, along the shorter arc at constant angular speed.
    /// Only for unit quaternions; parts outside 0 and 1 extrapolate.
    [[nodiscard]] QuaternionT slerp(const QuaternionT& other, T part) const noexcept;
    /// The angle between the two rotations, from 0 to pi. Only for unit quaternions.
    [[nodiscard]] T angleTo(const QuaternionT& other) const noexcept;
};

extern template struct QuaternionT<double>;
extern template struct QuaternionT<float>;

static_assert(std::is_trivially_copyable_v<QuaternionT<double>> && alignof(QuaternionT<double>) == alignof(double));
static_assert(sizeof(QuaternionT<float>) == 4 * sizeof(float));

}  // namespace KrMath
