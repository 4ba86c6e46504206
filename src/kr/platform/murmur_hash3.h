#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "kr/platform/export.h"

namespace Kr {

/// MurmurHash3 x64 128 of the bytes with seed 0: the two words in the order of the algorithm's output. The values are
/// stored and sent, so they are the same on every machine. No bytes give a pair of zeros.
/// Not for secrets: inputs with equal hashes can be made on purpose.
/// Throws std::length_error from 4 GiB on, for which the algorithm is not defined. Any thread.
[[nodiscard]] KR_API std::pair<std::uint64_t, std::uint64_t> calculateMurmurHash3(std::span<const std::byte> bytes);

}  // namespace Kr
