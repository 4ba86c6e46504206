#pragma once

#include <atomic>
#include <cstdint>

#include "kr/platform/export.h"

namespace KrSim::detail {

/// Incremented whenever an implementation of an extension is replaced, for lists that keep pointers to implementations.
KR_API extern constinit std::atomic<std::uint32_t> replacedImplementations;

}  // namespace KrSim::detail
