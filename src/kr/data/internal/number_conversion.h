#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "kr/math/constants.h"

namespace KrData::detail {

/// The nearest whole number, half to even; beyond the limits of the type its limit. NaN gives 0.
template <class Whole>
[[nodiscard]] Whole roundTo(double value) {
    static_assert(sizeof(Whole) <= 4, "its limits must be exact as double");
    if (std::isnan(value)) return 0;
    const double rounded = std::nearbyint(value);
    if (rounded <= static_cast<double>(std::numeric_limits<Whole>::min())) return std::numeric_limits<Whole>::min();
    if (rounded >= static_cast<double>(std::numeric_limits<Whole>::max())) return std::numeric_limits<Whole>::max();
    return static_cast<Whole>(rounded);
}

/// The nearest float. A finite number stays finite: beyond the limits of float it becomes the limit.
[[nodiscard]] inline float toFloat(double value) {
    constexpr double kLimit = std::numeric_limits<float>::max();
    return static_cast<float>(std::isfinite(value) ? std::clamp(value, -kLimit, kLimit) : value);
}

/// Between numbers of any two types. A number is true when it is further from 0 than the small-real epsilon.
template <class To, class From>
[[nodiscard]] To convertNumber(From value) {
    static_assert(std::is_arithmetic_v<To> && std::is_arithmetic_v<From>);
    if constexpr (std::is_same_v<To, From>) {
        return value;
    } else if constexpr (std::is_same_v<To, bool>) {
        return std::abs(static_cast<double>(value)) > KrMath::kSmallReal;
    } else if constexpr (std::is_same_v<To, double>) {
        return static_cast<double>(value);
    } else if constexpr (std::is_same_v<To, float>) {
        return toFloat(static_cast<double>(value));
    } else if constexpr (std::is_floating_point_v<From>) {
        return roundTo<To>(static_cast<double>(value));
    } else {
        return static_cast<To>(
            std::clamp<std::int64_t>(value, std::numeric_limits<To>::min(), std::numeric_limits<To>::max()));
    }
}

}  // namespace KrData::detail
