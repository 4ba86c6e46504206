#pragma once

#include <cmath>
#include <type_traits>

#include "kr/math/largest.h"
#include "kr/platform/export.h"

namespace KrMath {

/// Vector in space, zero by default. A plain block of 3 numbers: may be copied byte by byte. Comparison is exact: NaN
/// differs from itself, -0 equals 0.
/// Thread: value. Ownership: value.
template <class T>
struct KR_API Vector3T {
    T x{}, y{}, z{};

    constexpr bool operator==(const Vector3T&) const = default;

    constexpr Vector3T operator-() const noexcept { return {-x, -y, -z}; }
    constexpr Vector3T& operator+=(const Vector3T& other) noexcept { return *this = *this + other; }
    constexpr Vector3T& operator-=(const Vector3T& other) noexcept { return *this = *this - other; }
    constexpr Vector3T& operator*=(T factor) noexcept { return *this = *this * factor; }
    constexpr Vector3T& operator/=(T divisor) noexcept { return *this = *this / divisor; }

    friend constexpr Vector3T operator+(const Vector3T& left, const Vector3T& right) noexcept {
        return {left.x + right.x, left.y + right.y, left.z + right.z};
    }
    friend constexpr Vector3T operator-(const Vector3T& left, const Vector3T& right) noexcept {
        return {left.x - right.x, left.y - right.y, left.z - right.z};
    }
    friend constexpr Vector3T operator*(const Vector3T& vector, T factor) noexcept {
        return {vector.x * factor, vector.y * factor, vector.z * factor};
    }
    friend constexpr Vector3T operator*(T factor, const Vector3T& vector) noexcept { return vector * factor; }
    friend constexpr Vector3T operator/(const Vector3T& vector, T divisor) noexcept {
        return {vector.x / divisor, vector.y / divisor, vector.z / divisor};
    }

    [[nodiscard]] constexpr T dot(const Vector3T& other) const noexcept {
        return x * other.x + y * other.y + z * other.z;
    }
    /// Right-handed: the cross product of the x and y axis is the z axis.
    [[nodiscard]] constexpr Vector3T cross(const Vector3T& other) const noexcept {
        return {y * other.z - z * other.y, z * other.x - x * other.z, x * other.y - y * other.x};
    }

    [[nodiscard]] constexpr T squaredLength() const noexcept { return dot(*this); }
    /// Infinite when squaredLength() overflows.
    [[nodiscard]] T length() const noexcept { return std::sqrt(squaredLength()); }
    [[nodiscard]] T distanceTo(const Vector3T& other) const noexcept { return (other - *this).length(); }
    /// False when a component is NaN or infinite.
    [[nodiscard]] bool isFinite() const noexcept { return std::isfinite(x) && std::isfinite(y) && std::isfinite(z); }

    /// Scales to length 1, also when length() overflows. False, and unchanged, when it is zero or not finite.
    bool normalize() noexcept {
        const T largest = detail::getLarger(std::abs(x), detail::getLarger(std::abs(y), std::abs(z)));
        if (!(largest > T{0}) || !isFinite()) return false;
        const Vector3T scaled = *this / largest;
        *this = scaled / scaled.length();
        return true;
    }
    /// The vector of length 1 in this direction; zero when normalize() would fail.
    [[nodiscard]] Vector3T normalized() const noexcept {
        Vector3T result = *this;
        return result.normalize() ? result : Vector3T();
    }

    /// The point at the given part of the way to other: 0 is this one, 1 is other; parts outside extrapolate.
    [[nodiscard]] constexpr Vector3T lerp(const Vector3T& other, T part) const noexcept {
        return *this * (T{1} - part) + other * part;
    }
};

static_assert(std::is_trivially_copyable_v<Vector3T<double>> && alignof(Vector3T<double>) == alignof(double));
static_assert(std::is_trivially_copyable_v<Vector3T<float>> && sizeof(Vector3T<float>) == 3 * sizeof(float));

}  // namespace KrMath
