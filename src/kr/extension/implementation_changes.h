#pragma once

#include <atomic>
#include <cstdint>

#include "kr/platform/export.h"

namespace KrSim::detail {

/// Grows whenever an extension gets another implementation in the place of one that it had, for lists that keep
/// pointers to implementations.
KR_API extern constinit std::atomic<std::uint32_t> replacedImplementations;

}  // namespace KrSim::detail
