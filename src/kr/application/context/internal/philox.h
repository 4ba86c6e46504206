#pragma once

#include <array>
#include <cstdint>

namespace KrSim::detail {

/// Philox4x32-10: the block of 128 random bits that belongs to a counter and a key.
/// Salmon, Moraes, Dror, Shaw, "Parallel random numbers: as easy as 1, 2, 3", SC 2011.
constexpr std::array<std::uint32_t, 4> makePhiloxBlock(std::array<std::uint32_t, 4> counter,
                                                       std::array<std::uint32_t, 2> key) noexcept {
    constexpr std::uint64_t kFirstFactor = 0xD2511F53;
    constexpr std::uint64_t kSecondFactor = 0xCD9E8D57;
    constexpr std::uint32_t kFirstWeyl = 0x9E3779B9;   // the golden ratio
    constexpr std::uint32_t kSecondWeyl = 0xBB67AE85;  // the square root of 3, less 1
    constexpr int kRounds = 10;
    for (int round = 0; round < kRounds; ++round) {
        const std::uint64_t first = kFirstFactor * counter[0];
        const std::uint64_t second = kSecondFactor * counter[2];
        counter = {static_cast<std::uint32_t>(second >> 32U) ^ counter[1] ^ key[0], static_cast<std::uint32_t>(second),
                   static_cast<std::uint32_t>(first >> 32U) ^ counter[3] ^ key[1], static_cast<std::uint32_t>(first)};
        key = {key[0] + kFirstWeyl, key[1] + kSecondWeyl};
    }
    return counter;
}

}  // namespace KrSim::detail
