#pragma once

#include <cmath>
#include <cstddef>
#include <string_view>
#include <type_traits>

#include "kr/platform/text.h"

namespace KrPersistence::detail {

/// A number as XML and JSON archives write it: the shortest text that reads back exactly.
class NumberText {
public:
    template <class Number>
    explicit NumberText(Number value) {
        if constexpr (std::is_floating_point_v<Number>) {
            _isFinite = std::isfinite(value);
            if (!_isFinite) {
                _size = std::string_view(std::isnan(value) ? "NaN"
                                         : value > 0       ? "Infinity"
                                                           : "-Infinity")
                            .copy(_digits, sizeof _digits);
                return;
            }
        }
        char* end = Kr::writeNumber(_digits, value);
        if constexpr (std::is_floating_point_v<Number>) {
            const std::string_view digits(_digits, static_cast<std::size_t>(end - _digits));
            if (digits.find_first_of(".e") == std::string_view::npos) {
                // Otherwise readers take it for an integer, and some lose the sign of -0.
                *end++ = '.';
                *end++ = '0';
            }
        }
        _size = static_cast<std::size_t>(end - _digits);
    }

    [[nodiscard]] std::string_view text() const noexcept { return {_digits, _size}; }
    /// JSON cannot represent numbers that are not finite.
    [[nodiscard]] bool isFinite() const noexcept { return _isFinite; }

private:
    char _digits[Kr::kNumberTextBytes];
    std::size_t _size{0};
    bool _isFinite{true};
};

/// False unless the whole text is a number of the type's range.
template <class Number>
[[nodiscard]] bool parseNumber(std::string_view text, Number& value) {
    if constexpr (std::is_floating_point_v<Number>) {
        if (text == "NaN" || text == "Infinity" || text == "-Infinity") {
            value =
                text == "NaN" ? static_cast<Number>(NAN) : static_cast<Number>(text[0] == '-' ? -HUGE_VAL : HUGE_VAL);
            return true;
        }
        // from_chars accepts more spellings of these.
        const char first = text.empty() ? 'x' : text[0] == '-' && text.size() > 1 ? text[1] : text[0];
        if ((first < '0' || first > '9') && first != '.') return false;
    }
    const auto parsed = Kr::parseNumber<Number>(text);
    if (parsed) value = *parsed;
    return parsed.has_value();
}

}  // namespace KrPersistence::detail
