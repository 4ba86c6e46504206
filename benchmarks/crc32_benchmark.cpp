#include <benchmark/benchmark.h>
#include <zlib.h>

#include <bit>
#include <boost/crc.hpp>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

#include "benchmarks/slice_by_eight.h"
#include "kr/platform/crc32.h"

// CRC-32 of texts of the length of identifiers, and of one long text: ours, zlib, Boost, and a plain loop over eight
// tables as the limit of what a table-driven checksum reaches.

namespace {

// Called like the others, whose code the compiler does not see.
[[gnu::noinline]] std::int32_t ofSliceByEight(std::string_view text) {
    return kr_benchmark::sliceByEight(text);
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
BENCHMARK(BM_Crc32<ofSliceByEight>)->Apply(sizes)->Name("BM_SliceByEight");
BENCHMARK(BM_Crc32<ofZlib>)->Apply(sizes)->Name("BM_Zlib");
BENCHMARK(BM_Crc32<ofBoost>)->Apply(sizes)->Name("BM_BoostCrc");

}  // namespace
