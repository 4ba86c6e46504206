#pragma once

#include "kr/platform/export.h"

namespace Kr {

/// Whether the calling thread has used its stack except for a reserve, a quarter of it and 256 KiB at most, so that
/// nested calls must end. False on a stack that is not the thread's own, as of a coroutine.
/// The first call of each thread queries the system, later calls cost a thread-local read.
[[nodiscard]] KR_API bool isStackNearlyUsed() noexcept;

}  // namespace Kr
