#pragma once

#include <cstdint>

#include "kr/platform/export.h"

namespace Kr {

/// Allocations from the object pools, for tests and tools that count them.
struct PoolUsage {
    std::uint64_t objects{0};  ///< since the start of the process, including deleted ones
    std::uint64_t bytes{0};    ///< of these objects, rounded up
};

/// Any thread.
[[nodiscard]] KR_API PoolUsage getPoolUsage();

}  // namespace Kr
