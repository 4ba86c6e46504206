#pragma once

#include <cmath>
#include <type_traits>

#include "kr/math/largest.h"
#include "kr/platform/export.h"

namespace KrMath {

/// Vector of four components, zero by default. A plain block of 4 numbers: may be copied byte by byte. Comparison is
/// exact: NaN differs from itself, -0 equals 0.
/// Thread: value. Ownership: value.
template <class T>
struct KR_API Vector4T {
    T x{}, y{}, z{}, w{};

    constexpr bool operator==(const Vector4T&) const = default;

    constexpr Vector4T operator-() const noexcept { return {-x, -y, -z, -w}; }
    constexpr Vector4T& operator+=(const Vector4T& other) noexcept { return *this = *this + other; }
    constexpr Vector4T& operator-=(const Vector4T& other) noexcept { return *this = *this - other; }
    constexpr Vector4T& operator*=(T factor) noexcept { return *this = *this * factor; }
    constexpr Vector4T& operator/=(T divisor) noexcept { return *this = *this / divisor; }

    friend constexpr Vector4T operator+(const Vector4T& left, const Vector4T& right) noexcept {
        return {left.x + right.x, left.y + right.y, left.z + right.z, left.w + right.w};
    }
    friend constexpr Vector4T operator-(const Vector4T& left, const Vector4T& right) noexcept {
        return {left.x - right.x, left.y - right.y, left.z - right.z, left.w - right.w};
    }
    friend constexpr Vector4T operator*(const Vector4T& vector, T factor) noexcept {
        return {vector.x * factor, vector.y * factor, vector.z * factor, vector.w * factor};
    }
    friend constexpr Vector4T operator*(T factor, const Vector4T& vector) noexcept { return vector * factor; }
    friend constexpr Vector4T operator/(const Vector4T& vector, T divisor) noexcept {
        return {vector.x / divisor, vector.y / divisor, vector.z / divisor, vector.w / divisor};
    }

    [[nodiscard]] constexpr T dot(const Vector4T& other) const noexcept {
        return x * other.x + y * other.y + z * other.z + w * other.w;
    }

    [[nodiscard]] constexpr T squaredLength() const noexcept { return dot(*this); }
    /// Infinite when squaredLength() overflows.
    [[nodiscard]] T length() const noexcept { return std::sqrt(squaredLength()); }
    [[nodiscard]] T distanceTo(const Vector4T& other) const noexcept { return (other - *this).length(); }
    /// False when a component is NaN or infinite.
    [[nodiscard]] bool isFinite() const noexcept {
        return std::isfinite(x) && std::isfinite(y) && std::isfinite(z) && std::isfinite(w);
    }

    /// Scales to length 1, also when length() overflows. False, and unchanged, when it is zero or not finite.
    bool normalize() noexcept {
        const T largest =
            detail::getLarger(detail::getLarger(std::abs(x), std::abs(y)), detail::getLarger(std::abs(z), std::abs(w)));
        if (!(largest > T{0}) || !isFinite()) return false;
        const Vector4T scaled = *this / largest;
        *this = scaled / scaled.length();
        return true;
    }
    /// The vector of length 1 in this direction; zero when normalize() would fail.
    [[nodiscard]] Vector4T normalized() const noexcept {
        Vector4T result = *this;
        return result.normalize() ? result : Vector4T();
    }

    /// The point at the given part of the way to other: 0 is this one, 1 is other; parts outside extrapolate.
    [[nodiscard]] constexpr Vector4T lerp(const Vector4T& other, T part) const noexcept {
        return *this * (T{1} - part) + other * part;
    }
};

static_assert(std::is_trivially_copyable_v<Vector4T<double>> && alignof(Vector4T<double>) == alignof(double));
static_assert(std::is_trivially_copyable_v<Vector4T<float>> && sizeof(Vector4T<float>) == 4 * sizeof(float));

}  // namespace KrMath
