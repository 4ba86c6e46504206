#include "kr/platform/crc32.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <array>
#include <cstring>

#include "kr/platform/running_crc32.h"

namespace Kr::detail {
namespace {

// Slicing (Kounavis and Berry, A Systematic Approach to Building High Performance Software-based CRC Generators,
// 2005): table k holds the remainder of a byte followed by k zero bytes, so that several bytes are looked up in one
// step and combined. The tables are constants: static initialisers of any translation unit may compute checksums.
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

#if defined(__x86_64__)
#define KR_CARRYLESS __attribute__((target("pclmul,sse4.1")))

bool canMultiplyCarryless() noexcept {
    static const bool can = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
    }();
    return can;
}

KR_CARRYLESS __m128i loadBlock(const char* bytes) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

/// The block advanced by the factors, added to the block there.
KR_CARRYLESS __m128i fold(__m128i block, __m128i factors, __m128i next) noexcept {
    const __m128i low = _mm_clmulepi64_si128(block, factors, 0x00);
    const __m128i high = _mm_clmulepi64_si128(block, factors, 0x11);
    return _mm_xor_si128(_mm_xor_si128(low, high), next);
}

/// The remainder of 64 bytes or more, a multiple of 16, by multiplication without carries (Gopal, Ozturk, Guilford,
/// Wolrich, Feghali, Dixon and Karakoyunlu, Fast CRC Computation for Generic Polynomials Using PCLMULQDQ Instruction,
/// Intel 2009): four blocks of 16 bytes are folded onto the next four, then into one, then to 64 and to 32 bits. The
/// factors are powers of x modulo the polynomial, bits reflected: x^(512 + 32), x^(512 - 32), x^(128 + 32),
/// x^(128 - 32), x^64; the last pair is the polynomial and its inverse, by which Barrett reduces.
KR_CARRYLESS std::uint32_t divideBlocks(std::uint32_t remainder, const char* bytes, std::size_t length) noexcept {
    const __m128i byFour = _mm_set_epi64x(0x1C6E41596, 0x154442BD4);
    const __m128i byOne = _mm_set_epi64x(0x0CCAA009E, 0x1751997D0);
    const __m128i toHalf = _mm_set_epi64x(0, 0x163CD6124);
    const __m128i reduction = _mm_set_epi64x(0x1F7011641, 0x1DB710641);
    const __m128i lowHalves = _mm_set_epi32(0, -1, 0, -1);

    __m128i block = _mm_xor_si128(loadBlock(bytes), _mm_cvtsi32_si128(std::bit_cast<std::int32_t>(remainder)));
    __m128i second = loadBlock(bytes + 16);
    __m128i third = loadBlock(bytes + 32);
    __m128i fourth = loadBlock(bytes + 48);
    for (bytes += 64, length -= 64; length >= 64; bytes += 64, length -= 64) {
        block = fold(block, byFour, loadBlock(bytes));
        second = fold(second, byFour, loadBlock(bytes + 16));
        third = fold(third, byFour, loadBlock(bytes + 32));
        fourth = fold(fourth, byFour, loadBlock(bytes + 48));
    }
    block = fold(block, byOne, second);
    block = fold(block, byOne, third);
    block = fold(block, byOne, fourth);
    for (; length >= 16; bytes += 16, length -= 16)
        block = fold(block, byOne, loadBlock(bytes));

    block = _mm_xor_si128(_mm_srli_si128(block, 8), _mm_clmulepi64_si128(block, byOne, 0x10));
    const __m128i upper = _mm_srli_si128(block, 4);
    block = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(block, lowHalves), toHalf, 0x00), upper);
    __m128i quotient = _mm_clmulepi64_si128(_mm_and_si128(block, lowHalves), reduction, 0x10);
    quotient = _mm_clmulepi64_si128(_mm_and_si128(quotient, lowHalves), reduction, 0x00);
    return std::bit_cast<std::uint32_t>(_mm_extract_epi32(_mm_xor_si128(block, quotient), 1));
}
#endif

/// The remainder of what came before, after these bytes.
std::uint32_t divide(std::uint32_t remainder, const char* text, std::size_t length) noexcept {
#if defined(__x86_64__)
    // Shorter texts do not pay the way in and out.
    constexpr std::size_t kVeryLongText = 256;
    if (length >= kVeryLongText && canMultiplyCarryless()) {
        const std::size_t whole = length - length % 16;
        remainder = divideBlocks(remainder, text, whole);
        text += whole;
        length -= whole;
    }
#endif
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
