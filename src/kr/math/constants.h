#pragma once

namespace KrMath {

/// Doubles whose absolute value is at most this count as zero when a real number is converted to a boolean.
inline constexpr double kSmallReal = 1e-12;

inline constexpr double kPi = 3.141592653589793238462643383279502884;
inline constexpr double kRadiansPerDegree = kPi / 180.0;

}  // namespace KrMath
