#include "kr/platform/crc32.h"

#include <array>
#include <cstring>

#include "kr/platform/running_crc32.h"

namespace Kr::detail {
namespace {

// Slicing (Kounavis and Berry, A Systematic Approach to Building High Performance Software-based CRC Generators,
// 2005): table k holds the remainder of a byte followed by k zero bytes, so that several bytes are looked up at once
// and combined. The tables are constants: static initialisers of any translation unit may compute checksums.
constexpr std::size_t kSlices = 16;
using Tables = std::array<std::array<std::uint32_t, 256>, kSlices>;

constexpr Tables makeTables() {
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte)
        tables[0][byte] = divideByte(byte);
    for (std::size_t slice = 1; slice < kSlices; ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[slice - 1][byte];
            tables[slice][byte] = (before >> 8U) ^ tables[0][before & 0xFFU];
        }
    }
    return tables;
}

constexpr Tables kTables = makeTables();

static_assert(std::endian::native == std::endian::little, "loadWord reads the bytes in the order of the text");

std::uint32_t loadWord(const char* bytes) noexcept {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// The remainder of four bytes that are followed by Following more: one look-up a byte.
template <std::size_t Following>
std::uint32_t slice(std::uint32_t word) noexcept {
    return kTables[Following + 3][word & 0xFFU] ^ kTables[Following + 2][(word >> 8U) & 0xFFU] ^
           kTables[Following + 1][(word >> 16U) & 0xFFU] ^ kTables[Following][word >> 24U];
}

/// The remainder of what came before, after these bytes.
std::uint32_t divide(std::uint32_t remainder, const char* text, std::size_t length) noexcept {
    // Only the first word waits for the remainder of the bytes before it; the look-ups of the others run ahead.
    // Sixteen at a time need twice the tables in the cache, which only long texts pay back.
    constexpr std::size_t kLongText = 64;
    if (length >= kLongText) {
        for (; length >= 16; text += 16, length -= 16) {
            remainder = slice<12>(loadWord(text) ^ remainder) ^ slice<8>(loadWord(text + 4)) ^
                        slice<4>(loadWord(text + 8)) ^ slice<0>(loadWord(text + 12));
        }
    }
    for (; length >= 8; text += 8, length -= 8) {
        remainder = slice<4>(loadWord(text) ^ remainder) ^ slice<0>(loadWord(text + 4));
    }
    for (; length > 0; ++text, --length) {
        remainder = (remainder >> 8U) ^ kTables[0][(remainder ^ static_cast<unsigned char>(*text)) & 0xFFU];
    }
    return remainder;
}

}  // namespace

std::int32_t calculateCRC32(const char* text, std::size_t length) noexcept {
    return std::bit_cast<std::int32_t>(~divide(0xFFFFFFFFU, text, length));
}

}  // namespace Kr::detail

namespace Kr {

void RunningCrc32::add(std::string_view bytes) noexcept {
    _remainder = detail::divide(_remainder, bytes.data(), bytes.size());
}

}  // namespace Kr
