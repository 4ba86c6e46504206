#include "kr/data/internal/number_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <system_error>

namespace KrData::detail {

namespace {

/// Whether a number out of range is too large, not too small: its first digit other than zero precedes the point.
bool isTooLarge(std::string_view digits) {
    const auto exponentAt = digits.find_first_of("eE");
    const auto mantissa = digits.substr(0, exponentAt);
    const auto point = static_cast<std::int64_t>(std::min(mantissa.find('.'), mantissa.size()));
    const auto first = static_cast<std::int64_t>(mantissa.find_first_of("123456789"));
    std::int64_t exponent = 0;
    if (exponentAt != std::string_view::npos) {
        auto text = digits.substr(exponentAt + 1);
        const bool isNegative = text.starts_with('-');
        if (isNegative || text.starts_with('+')) text.remove_prefix(1);
        const auto parsed = std::from_chars(text.data(), text.data() + text.size(), exponent);
        if (parsed.ec != std::errc{}) exponent = std::numeric_limits<std::int32_t>::max();
        if (isNegative) exponent = -exponent;
    }
    return point - first + exponent > 0;
}

}  // namespace

template <class Real>
std::optional<Real> numberFromText(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) text.remove_prefix(1);
    const bool isNumber = !text.empty() && (text.front() == '.' || (text.front() >= '0' && text.front() <= '9'));
    if (!isNumber && text != "inf" && text != "nan") return std::nullopt;
    Real value{};
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    if (parsed.ptr != text.data() + text.size()) return std::nullopt;
    if (parsed.ec == std::errc::result_out_of_range) {
        value = isTooLarge(text) ? std::numeric_limits<Real>::max() : Real{};
    } else if (parsed.ec != std::errc{}) {
        return std::nullopt;
    }
    return isNegative ? -value : value;
}

template std::optional<double> numberFromText<double>(std::string_view text);
template std::optional<float> numberFromText<float>(std::string_view text);

}  // namespace KrData::detail
