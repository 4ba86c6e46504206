#include "kr/platform/murmur_hash3.h"

#include <murmurhash.h>

#include <array>
#include <limits>
#include <stdexcept>

namespace Kr {

std::pair<std::uint64_t, std::uint64_t> calculateMurmurHash3(std::span<const std::byte> bytes) {
    // The library takes the length as unsigned int and would silently hash a part.
    if (bytes.size() > std::numeric_limits<unsigned int>::max()) {
        throw std::length_error("MurmurHash3: the input has 4 GiB or more");
    }
    constexpr std::uint32_t kSeed = 0;
    std::array<std::uint64_t, 2> words{};
    lmmh_x64_128(bytes.data(), static_cast<unsigned int>(bytes.size()), kSeed, words.data());
    return {words[0], words[1]};
}

}  // namespace Kr
