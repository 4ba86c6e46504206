#include <benchmark/benchmark.h>
#include <zlib.h>

#include <array>
#include <bit>
#include <boost/crc.hpp>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "kr/platform/crc32.h"

// CRC-32 of texts of the length of identifiers, and of one long text: ours, zlib, Boost, and a plain loop over eight
// tables as the limit of what a table-driven checksum reaches.

namespace {

std::array<std::array<std::uint32_t, 256>, 8> makeTables() {
    std::array<std::array<std::uint32_t, 256>, 8> tables{};
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

const std::array<std::array<std::uint32_t, 256>, 8> tables = makeTables();

[[gnu::noinline]] std::int32_t sliceByEight(std::string_view text) {
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

std::int32_t ofZlib(std::string_view text) {
    const auto* bytes = reinterpret_cast<const Bytef*>(text.data());
    return static_cast<std::int32_t>(crc32_z(0, bytes, text.size()));
}

std::int32_t ofBoost(std::string_view text) {
    boost::crc_32_type checksum;
    checksum.process_bytes(text.data(), text.size());
    return std::bit_cast<std::int32_t>(checksum.checksum());
}

std::int32_t ofKr(std::string_view text) {
    return Kr::calculateCRC32(text);
}

std::string makeText(std::size_t length) {
    std::mt19937 random(20200300);
    std::uniform_int_distribution<int> letters('a', 'z');
    std::string text(length, ' ');
    for (char& letter : text)
        letter = static_cast<char>(letters(random));
    return text;
}

template <std::int32_t (*Checksum)(std::string_view)>
void BM_Crc32(benchmark::State& state) {
    const std::string text = makeText(static_cast<std::size_t>(state.range(0)));
    std::string_view view = text;
    std::int32_t checksum = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(view);
        checksum = Checksum(view);
        benchmark::DoNotOptimize(checksum);
    }
    if (checksum != ofZlib(text)) state.SkipWithError("wrong checksum");
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int length : {8, 16, 40, 1024})
        benchmark->Arg(length);
}

BENCHMARK(BM_Crc32<ofKr>)->Apply(sizes)->Name("BM_Crc32");
BENCHMARK(BM_Crc32<sliceByEight>)->Apply(sizes)->Name("BM_SliceByEight");
BENCHMARK(BM_Crc32<ofZlib>)->Apply(sizes)->Name("BM_Zlib");
BENCHMARK(BM_Crc32<ofBoost>)->Apply(sizes)->Name("BM_BoostCrc");

}  // namespace
