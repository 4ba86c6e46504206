#pragma once

#include <cmath>
#include <type_traits>

#include "kr/math/largest.h"
#include "kr/platform/export.h"

namespace KrMath {

/// Vector in the plane, zero by default. A plain block of 2 numbers: may be copied byte by byte. Comparison is exact:
/// NaN differs from itself, -0 equals 0.
/// Thread: value. Ownership: value.
template <class T>
struct KR_API Vector2T {
    T x{}, y{};

    constexpr bool operator==(const Vector2T&) const = default;

    constexpr Vector2T operator-() const noexcept { return {-x, -y}; }
    constexpr Vector2T& operator+=(const Vector2T& other) noexcept { return *this = *this + other; }
    constexpr Vector2T& operator-=(const Vector2T& other) noexcept { return *this = *this - other; }
    constexpr Vector2T& operator*=(T factor) noexcept { return *this = *this * factor; }
    constexpr Vector2T& operator/=(T divisor) noexcept { return *this = *this / divisor; }

    friend constexpr Vector2T operator+(const Vector2T& left, const Vector2T& right) noexcept {
        return {left.x + right.x, left.y + right.y};
    }
    friend constexpr Vector2T operator-(const Vector2T& left, const Vector2T& right) noexcept {
        return {left.x - right.x, left.y - right.y};
    }
    friend constexpr Vector2T operator*(const Vector2T& vector, T factor) noexcept {
        return {vector.x * factor, vector.y * factor};
    }
    friend constexpr Vector2T operator*(T factor, const Vector2T& vector) noexcept { return vector * factor; }
    friend constexpr Vector2T operator/(const Vector2T& vector, T divisor) noexcept {
        return {vector.x / divisor, vector.y / divisor};
    }

    [[nodiscard]] constexpr T dot(const Vector2T& other) const noexcept { return x * other.x + y * other.y; }
    /// The z component of the cross product in space: positive when other lies counter-clockwise of this.
    [[nodiscard]] constexpr T cross(const Vector2T& other) const noexcept { return x * other.y - y * other.x; }

    [[nodiscard]] constexpr T squaredLength() const noexcept { return dot(*this); }
    /// Infinite when squaredLength() overflows.
    [[nodiscard]] T length() const noexcept { return std::sqrt(squaredLength()); }
    [[nodiscard]] T distanceTo(const Vector2T& other) const noexcept { return (other - *this).length(); }
    /// False when a component is NaN or infinite.
    [[nodiscard]] bool isFinite() const noexcept { return std::isfinite(x) && std::isfinite(y); }

    /// Scales to length 1, also when length() overflows. False, and unchanged, when it is zero or not finite.
    bool normalize() noexcept {
        const T largest = detail::getLarger(std::abs(x), std::abs(y));
        if (!(largest > T{0}) || !isFinite()) return false;
        const Vector2T scaled = *this / largest;
        *this = scaled / scaled.length();
        return true;
    }
    /// The vector of length 1 in this direction; zero when normalize() would fail.
    [[nodiscard]] Vector2T normalized() const noexcept {
        Vector2T result = *this;
        return result.normalize() ? result : Vector2T();
    }

    /// The point at the given part of the way to other: 0 is this one, 1 is other; parts outside extrapolate.
    [[nodiscard]] constexpr Vector2T lerp(const Vector2T& other, T part) const noexcept {
        return *this * (T{1} - part) + other * part;
    }
};

static_assert(std::is_trivially_copyable_v<Vector2T<double>> && alignof(Vector2T<double>) == alignof(double));
static_assert(std::is_trivially_copyable_v<Vector2T<float>> && sizeof(Vector2T<float>) == 2 * sizeof(float));

}  // namespace KrMath
