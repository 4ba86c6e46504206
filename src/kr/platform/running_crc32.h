#pragma once

#include <bit>
#include <cstdint>
#include <string_view>

#include "kr/platform/export.h"

namespace Kr {

/// CRC-32 of bytes that arrive in pieces; equal to calculateCRC32 of all bytes in a row.
/// Thread: value. Ownership: value.
class KR_API RunningCrc32 {
public:
    void add(std::string_view bytes) noexcept;
    /// The checksum of the bytes so far, unsigned; 0 before the first.
    [[nodiscard]] std::uint32_t get() const noexcept { return ~_remainder; }

private:
    std::uint32_t _remainder{0xFFFFFFFFU};
};

}  // namespace Kr
