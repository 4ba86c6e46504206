#pragma once

#include <bit>
#include <cstdint>
#include <string_view>

#include "kr/platform/export.h"

namespace Kr {

/// CRC-32 of bytes that come in pieces; the same as calculateCRC32 of all of them in a row.
class KR_API RunningCrc32 {
public:
    void add(std::string_view bytes) noexcept;
    [[nodiscard]] std::uint32_t get() const noexcept { return ~_remainder; }

private:
    std::uint32_t _remainder{0xFFFFFFFFU};
};

}  // namespace Kr
