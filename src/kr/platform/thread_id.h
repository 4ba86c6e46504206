#pragma once

#include <cstdint>

#include "kr/platform/export.h"

namespace Kr {

/// Names a thread of this process for as long as the process lives: unlike the numbers of the system it is never given
/// to a second thread. kNone is no thread.
enum class ThreadId : std::uint64_t { kNone = 0 };

/// The calling thread's own. Costs a thread-local read after the first call.
[[nodiscard]] KR_API ThreadId getCurrentThreadId() noexcept;

}  // namespace Kr
