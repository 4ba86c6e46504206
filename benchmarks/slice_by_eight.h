#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kr_benchmark {

namespace detail {

using CrcTables = std::array<std::array<std::uint32_t, 256>, 8>;

inline CrcTables makeCrcTables() {
    CrcTables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit)
            remainder = (remainder >> 1U) ^ ((remainder & 1U) * 0xEDB88320U);
        tables[0][byte] = remainder;
    }
    for (std::size_t slice = 1; slice < tables.size(); ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[slice - 1][byte];
            tables[slice][byte] = (before >> 8U) ^ tables[0][before & 0xFFU];
        }
    }
    return tables;
}

inline const CrcTables crcTables = makeCrcTables();

}  // namespace detail

/// CRC-32 by a plain loop over eight tables: the limit of what a table-driven checksum reaches.
inline std::int32_t sliceByEight(std::string_view text) {
    const auto& tables = detail::crcTables;
    const char* bytes = text.data();
    std::size_t length = text.size();
    std::uint32_t remainder = 0xFFFFFFFFU;
    for (; length >= 8; bytes += 8, length -= 8) {
        std::uint32_t low;
        std::uint32_t high;
        std::memcpy(&low, bytes, sizeof low);
        std::memcpy(&high, bytes + 4, sizeof high);
        low ^= remainder;
        remainder = tables[7][low & 0xFFU] ^ tables[6][(low >> 8U) & 0xFFU] ^ tables[5][(low >> 16U) & 0xFFU] ^
                    tables[4][low >> 24U] ^ tables[3][high & 0xFFU] ^ tables[2][(high >> 8U) & 0xFFU] ^
                    tables[1][(high >> 16U) & 0xFFU] ^ tables[0][high >> 24U];
    }
    for (; length > 0; ++bytes, --length) {
        remainder = (remainder >> 8U) ^ tables[0][(remainder ^ static_cast<unsigned char>(*bytes)) & 0xFFU];
    }
    return std::bit_cast<std::int32_t>(~remainder);
}

}  // namespace kr_benchmark
