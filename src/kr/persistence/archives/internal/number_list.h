#pragma once

#include <cstddef>
#include <string_view>

namespace KrPersistence::detail {

/// The numbers of a text in which blanks, line breaks, commas and quotes stand between them.
class NumberList {
public:
    explicit NumberList(std::string_view text) : _text(text) {}

    /// False behind the last one.
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
    [[nodiscard]] std::string_view rest() const noexcept { return _text; }
    [[nodiscard]] static std::size_t count(NumberList list) {
        std::size_t count = 0;
        for (std::string_view number; list.next(number);)
            ++count;
        return count;
    }

private:
    static bool _isBetween(char each) {
        return each == ' ' || each == ',' || each == '\n' || each == '"' || each == '\t' || each == '\r';
    }

    std::string_view _text;
};

}  // namespace KrPersistence::detail
