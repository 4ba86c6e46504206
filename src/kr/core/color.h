#pragma once

#include "kr/platform/export.h"

namespace Kr {

/// A colour: red, green, blue and alpha, usually in 0..1. Nothing is clamped. White by default. Colours compare
/// component by component; NaN differs from itself.
/// Thread: value. Ownership: value.
class KR_API KrColor {
public:
    constexpr KrColor() noexcept = default;
    constexpr KrColor(double r, double g, double b, double a = 1.0) noexcept
        : _r(static_cast<float>(r)), _g(static_cast<float>(g)), _b(static_cast<float>(b)), _a(static_cast<float>(a)) {}
    /// \param rgba  four floats; null gives white.
    explicit constexpr KrColor(const float* rgba) noexcept {
        if (rgba) setRGBA(rgba[0], rgba[1], rgba[2], rgba[3]);
    }

    [[nodiscard]] constexpr float r() const noexcept { return _r; }
    [[nodiscard]] constexpr float g() const noexcept { return _g; }
    [[nodiscard]] constexpr float b() const noexcept { return _b; }
    [[nodiscard]] constexpr float a() const noexcept { return _a; }
    [[nodiscard]] constexpr float& r() noexcept { return _r; }
    [[nodiscard]] constexpr float& g() noexcept { return _g; }
    [[nodiscard]] constexpr float& b() noexcept { return _b; }
    [[nodiscard]] constexpr float& a() noexcept { return _a; }

    /// Nothing is clamped.
    constexpr void setRGBA(float r, float g, float b, float a) noexcept {
        _r = r;
        _g = g;
        _b = b;
        _a = a;
    }

    // All four components are used, alpha included.
    friend constexpr KrColor operator+(const KrColor& left, const KrColor& right) noexcept {
        return _fromFloats(left._r + right._r, left._g + right._g, left._b + right._b, left._a + right._a);
    }
    friend constexpr KrColor operator-(const KrColor& left, const KrColor& right) noexcept {
        return _fromFloats(left._r - right._r, left._g - right._g, left._b - right._b, left._a - right._a);
    }
    friend constexpr KrColor operator*(const KrColor& color, float factor) noexcept {
        return _fromFloats(color._r * factor, color._g * factor, color._b * factor, color._a * factor);
    }
    friend constexpr bool operator==(const KrColor&, const KrColor&) noexcept = default;

    /// The opaque colour of a hue in degrees, with saturation and value in 0..1. The hue is not wrapped: below 0 and
    /// from 300 up it counts as the sector from magenta to red.
    [[nodiscard]] static KrColor HSVtoRGB(double h, double s, double v) noexcept;

    /// A random colour from `rand()`, each channel a multiple of 1/256 below 1. Repeatable through `srand()`.
    [[nodiscard]] static KrColor generateRandomColor(float alpha);

private:
    static constexpr KrColor _fromFloats(float r, float g, float b, float a) noexcept {
        KrColor color;
        color.setRGBA(r, g, b, a);
        return color;
    }

    float _r{1.0F};
    float _g{1.0F};
    float _b{1.0F};
    float _a{1.0F};
};

}  // namespace Kr
