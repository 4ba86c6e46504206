#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "kr/platform/export.h"

namespace Kr {

namespace detail {
/// The checksum of calculateCRC32, calculated with tables.
[[nodiscard]] KR_API std::int32_t calculateCRC32(const char* text, std::size_t length) noexcept;

/// The remainder after eight more bits, divided bit by bit.
[[nodiscard]] constexpr std::uint32_t divideByte(std::uint32_t remainder) noexcept {
    for (int bit = 0; bit < 8; ++bit)
        remainder = (remainder >> 1U) ^ ((remainder & 1U) * 0xEDB88320U);
    return remainder;
}
}  // namespace detail

/// CRC-32 of the bytes as in zlib and IEEE 802.3 (reflected polynomial 0xEDB88320, initial value and result
/// inverted), reinterpreted as a signed number: "123456789" gives -873187034, no text gives 0.
/// May be used in constant expressions. Any thread.
[[nodiscard]] constexpr std::int32_t calculateCRC32(std::string_view text) noexcept {
    if (!std::is_constant_evaluated()) return detail::calculateCRC32(text.data(), text.size());
    // Bit by bit: in constant expressions tables save nothing, and no header has to contain them.
    std::uint32_t remainder = 0xFFFFFFFFU;
    for (const char character : text)
        remainder = detail::divideByte(remainder ^ static_cast<unsigned char>(character));
    return std::bit_cast<std::int32_t>(~remainder);
}

}  // namespace Kr
