#pragma once

#include <cstddef>
#include <string_view>

namespace Kr {

/// Length of the longest prefix of at most maxBytes that does not end inside a UTF-8 character.
/// Text that is not UTF-8 around the cut is cut at maxBytes exactly.
[[nodiscard]] constexpr std::size_t getUtf8PrefixLength(std::string_view text, std::size_t maxBytes) noexcept {
    if (text.size() <= maxBytes) return text.size();
    const auto isContinuation = [&](std::size_t index) {
        return (static_cast<unsigned char>(text[index]) & 0xC0U) == 0x80U;
    };
    std::size_t length = maxBytes;
    for (int back = 0; back < 3 && length > 0 && isContinuation(length); ++back)
        --length;
    return isContinuation(length) ? maxBytes : length;
}

}  // namespace Kr
