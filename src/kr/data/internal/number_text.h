#pragma once

#include <optional>
#include <string_view>

namespace KrData::detail {

/// The number of a whole text: a sign, digits with or without a decimal point and an exponent, or the output of
/// toString for infinities and NaN. Always with a point, independent of the locale. A number too large for the type
/// becomes its limit, one too small becomes zero. Empty for any other text.
template <class Real>
[[nodiscard]] std::optional<Real> numberFromText(std::string_view text);

extern template std::optional<double> numberFromText<double>(std::string_view text);
extern template std::optional<float> numberFromText<float>(std::string_view text);

}  // namespace KrData::detail
