#pragma once

#include <cstddef>

#include "kr/platform/export.h"

namespace Kr {

/// Asks the system to use large pages for memory that will be filled soon: that takes far fewer page faults. Does
/// nothing where the system has none, and for less than 2 MiB. Thread: any.
KR_API void preferLargePages(const void* begin, std::size_t size) noexcept;

}  // namespace Kr
