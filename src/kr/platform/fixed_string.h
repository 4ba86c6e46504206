#pragma once

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>

#include "kr/platform/export.h"
#include "kr/platform/utf8.h"

namespace Kr {

/// Text of at most N - 1 bytes and a terminator, stored in place: may be copied byte by byte.
///
/// Longer text is cut at a whole UTF-8 character; text with a zero byte ends there. The bytes behind the text are
/// zero, so equal texts are equal byte blocks.
/// Thread: value. Ownership: value.
template <std::size_t N>
class KR_API KrString {
    static_assert(N > 0, "room for the terminator");

public:
    constexpr KrString() noexcept = default;
    constexpr KrString(std::string_view text) noexcept { assign(text); }
    /// Null gives an empty text.
    constexpr KrString(const char* text) noexcept { assign(text ? std::string_view(text) : std::string_view()); }
    KrString(const std::string& text) noexcept { assign(text); }

    /// False when the text was cut.
    constexpr bool assign(std::string_view text) noexcept {
        const std::string_view kept = text.substr(0, text.find('\0')).substr(0, getUtf8PrefixLength(text, N - 1));
        kept.copy(_text, kept.size());
        std::char_traits<char>::assign(_text + kept.size(), N - kept.size(), '\0');
        return kept.size() == text.size();
    }

    /// The longest text in bytes, without the terminator.
    [[nodiscard]] static constexpr std::size_t capacity() noexcept { return N - 1; }
    [[nodiscard]] constexpr std::size_t size() const noexcept { return view().size(); }
    [[nodiscard]] constexpr bool isEmpty() const noexcept { return _text[0] == '\0'; }
    /// Terminated; valid until this object dies or changes.
    [[nodiscard]] constexpr const char* c_str() const noexcept { return _text; }
    /// Valid until this object dies or changes.
    [[nodiscard]] constexpr std::string_view view() const noexcept { return std::string_view(_text); }
    [[nodiscard]] std::string str() const { return std::string(view()); }
    constexpr operator std::string_view() const noexcept { return view(); }

    friend constexpr bool operator==(const KrString& left, const KrString& right) noexcept {
        return left.view() == right.view();
    }
    friend constexpr std::strong_ordering operator<=>(const KrString& left, const KrString& right) noexcept {
        return left.view() <=> right.view();
    }

private:
    char _text[N]{};
};

}  // namespace Kr
