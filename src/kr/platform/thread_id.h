#pragma once

#include <cstdint>

#include "kr/platform/export.h"

namespace Kr {

/// Identifies a thread of this process, for the lifetime of the process: unlike the numbers of the system it is never
/// reused. kNone is no thread.
enum class ThreadId : std::uint64_t { kNone = 0 };

/// The identifier of the calling thread. Costs a thread-local read after the first call.
[[nodiscard]] KR_API ThreadId getCurrentThreadId() noexcept;

}  // namespace Kr
