#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>

namespace KrPersistence::detail {

/// The numbers of a text in which they are separated by blanks, line breaks, commas and quotes.
class NumberList {
public:
    explicit NumberList(std::string_view text) : _text(text) {}

    /// False after the last one.
    bool next(std::string_view& number) {
        std::size_t begin = 0;
        while (begin < _text.size() && _isBetween(_text[begin]))
            ++begin;
        std::size_t end = begin;
        while (end < _text.size() && !_isBetween(_text[end]))
            ++end;
        number = _text.substr(begin, end - begin);
        _text.remove_prefix(end);
        return !number.empty();
    }
    /// The same for a text that begins with a digit or minus and is a number; else false, unmoved.
    template <class Number>
    bool nextNumber(Number& number) {
        const char* begin = _text.data();
        const char* const end = begin + _text.size();
        while (begin < end && _isBetween(*begin))
            ++begin;
        const char* digit = begin < end && *begin == '-' ? begin + 1 : begin;
        if (digit >= end || *digit < '0' || *digit > '9') return false;
        const auto [behind, error] = std::from_chars(begin, end, number);
        if (error != std::errc{} || (behind < end && !_isBetween(*behind))) return false;
        _text = std::string_view(behind, static_cast<std::size_t>(end - behind));
        return true;
    }
    [[nodiscard]] std::string_view rest() const noexcept { return _text; }
    [[nodiscard]] static std::size_t count(NumberList list) {
        std::size_t count = 0;
        for (std::string_view number; list.next(number);)
            ++count;
        return count;
    }

private:
    static bool _isBetween(char each) { return kBetween[static_cast<unsigned char>(each)]; }

    static constexpr auto kBetween = [] {
        std::array<bool, 256> isBetween{};
        for (const char each : {' ', ',', '\n', '"', '\t', '\r'})
            isBetween[static_cast<unsigned char>(each)] = true;
        return isBetween;
    }();

    std::string_view _text;
};

}  // namespace KrPersistence::detail
