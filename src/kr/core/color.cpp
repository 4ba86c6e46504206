#include "kr/core/color.h"

#include <cmath>
#include <cstdlib>
#include <type_traits>

namespace Kr {

static_assert(sizeof(KrColor) == 4 * sizeof(float) && std::is_trivially_copyable_v<KrColor>);

KrColor KrColor::HSVtoRGB(double h, double s, double v) noexcept {
    if (s == 0.0) return {v, v, v};
    // The sector stays a floating-point number: a hue may be NaN or too large for an integer.
    const double sector = std::floor(h / 60.0);
    const double f = h / 60.0 - sector;
    const double p = (1.0 - s) * v;
    const double q = (1.0 - f * s) * v;
    const double t = (1.0 - (1.0 - f) * s) * v;
    if (sector == 0.0) return {v, t, p};
    if (sector == 1.0) return {q, v, p};
    if (sector == 2.0) return {p, v, t};
    if (sector == 3.0) return {p, q, v};
    if (sector == 4.0) return {t, p, v};
    return {v, p, q};
}

KrColor KrColor::generateRandomColor(float alpha) {
    // Named draws: the order of two calls in one expression is not fixed.
    const auto first = static_cast<unsigned>(std::rand());
    const auto second = static_cast<unsigned>(std::rand());
    const auto channel = [](unsigned byte) { return static_cast<float>(byte & 0xFFU) * 0.00390625F; };
    return _fromFloats(channel(first), channel(first >> 8U), channel(second), alpha);
}

}  // namespace Kr
