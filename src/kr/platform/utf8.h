#pragma once

#include <cstddef>
#include <string_view>

namespace Kr {

/// Whether the byte continues a UTF-8 character: no character begins with it.
[[nodiscard]] constexpr bool isUtf8Continuation(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Bytes of the UTF-8 character that begins at `at`, an index inside the text: 1 to 4. 0 when no character begins
/// there, for an overlong form, a surrogate or a value above U+10FFFF, and when the text ends inside the character.
[[nodiscard]] constexpr std::size_t getUtf8CharacterLength(std::string_view text, std::size_t at) noexcept {
    const auto byteAt = [&](std::size_t index) {
        return static_cast<unsigned int>(static_cast<unsigned char>(text[index]));
    };
    const unsigned int first = byteAt(at);
    if (first < 0x80) return 1;
    const std::size_t length = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
    if (length == 0 || at + length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if (!isUtf8Continuation(text[at + i])) return 0;
    const unsigned int second = byteAt(at + 1);
    const bool isOverlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool isSurrogate = first == 0xED && second >= 0xA0;
    const bool isBeyond = first == 0xF4 && second >= 0x90;
    return isOverlong || isSurrogate || isBeyond ? 0 : length;
}

/// Length of the longest prefix of at most maxBytes that does not end inside a UTF-8 character.
/// Text that is not UTF-8 around the cut is cut at maxBytes exactly.
[[nodiscard]] constexpr std::size_t getUtf8PrefixLength(std::string_view text, std::size_t maxBytes) noexcept {
    if (text.size() <= maxBytes) return text.size();
    std::size_t length = maxBytes;
    for (int back = 0; back < 3 && length > 0 && isUtf8Continuation(text[length]); ++back)
        --length;
    return isUtf8Continuation(text[length]) ? maxBytes : length;
}

}  // namespace Kr
