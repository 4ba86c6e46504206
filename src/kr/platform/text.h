#pragma once

#include <charconv>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

#include "kr/platform/utf8.h"

// Numbers as text and back, always with a decimal point, independent of the locale; digits of base 16; parts of texts.

namespace Kr {

/// Bytes that hold the text of any number of an arithmetic type.
inline constexpr std::size_t kNumberTextBytes = 32;

/// Writes the shortest text that reads back as the same number: "-12", "0.1", "1e+30", "inf", "nan". Returns the end of
/// the text, which is not terminated.
template <class Number>
[[nodiscard]] char* writeNumber(char (&text)[kNumberTextBytes], Number number) noexcept {
    return std::to_chars(text, text + kNumberTextBytes, number).ptr;
}

/// Appends the same text.
template <class Number>
void appendNumber(std::string& text, Number number) {
    char digits[kNumberTextBytes];
    text.append(digits, writeNumber(digits, number));
}

/// The same text of one number.
template <class Number>
[[nodiscard]] std::string toText(Number number) {
    std::string text;
    appendNumber(text, number);
    return text;
}

/// The same text of several numbers, with a blank between two.
template <class Number, std::size_t extent>
[[nodiscard]] std::string toText(std::span<const Number, extent> numbers) {
    std::string text;
    for (const Number each : numbers) {
        if (!text.empty()) text += ' ';
        appendNumber(text, each);
    }
    return text;
}

/// The number that the whole text represents: a minus and digits, for reals also a point, an exponent, "inf" and "nan".
/// Empty for any other text, and for a number outside the range of the type.
/// \param base  for integers: 10 or 16, without a prefix.
template <class Number>
[[nodiscard]] std::optional<Number> parseNumber(std::string_view text, [[maybe_unused]] int base = 10) noexcept {
    Number number{};
    const char* const end = text.data() + text.size();
    std::from_chars_result parsed{};
    if constexpr (std::is_integral_v<Number>) {
        parsed = std::from_chars(text.data(), end, number, base);
    } else {
        parsed = std::from_chars(text.data(), end, number);
    }
    return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

/// The text in single quotes, for messages.
[[nodiscard]] inline std::string quote(std::string_view text) {
    return std::string("'").append(text).append("'");
}

/// Without blanks, tabulators and line ends at both ends.
[[nodiscard]] constexpr std::string_view trim(std::string_view text) noexcept {
    constexpr std::string_view kBlanks = " \t\r\n";
    const auto first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// The digit of base 16 for the lowest four bits.
/// \param ten  the digit of 10: 'a' or 'A'.
[[nodiscard]] constexpr char getHexDigit(unsigned int value, char ten = 'a') noexcept {
    const int digit = static_cast<int>(value & 0xFU);
    return static_cast<char>(digit < 10 ? '0' + digit : ten + digit - 10);
}

/// Appends the two digits of a byte.
inline void appendHex(std::string& text, unsigned char byte) {
    text += getHexDigit(byte >> 4U);
    text += getHexDigit(byte);
}

/// Two digits for each byte.
[[nodiscard]] inline std::string toHex(std::string_view bytes) {
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char each : bytes)
        appendHex(text, static_cast<unsigned char>(each));
    return text;
}

}  // namespace Kr
