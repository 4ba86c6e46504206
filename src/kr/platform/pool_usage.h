#pragma once

#include <cstdint>

#include "kr/platform/export.h"

namespace Kr {

/// What pools have handed out, for those who count allocations.
struct PoolUsage {
    std::uint64_t objects{0};  ///< since the start of the process, those that died included
    std::uint64_t bytes{0};    ///< of these, as rounded up
};

/// Any thread.
[[nodiscard]] KR_API PoolUsage getPoolUsage();

}  // namespace Kr
