#pragma once

#include "kr/platform/export.h"

namespace Kr {

/// Whether the calling thread has used its stack up to a reserve, a quarter of it and 256 KiB at most, so that calls
/// that lead into one another must end. False on a stack that is not the thread's own, as that of a coroutine.
/// The first call of each thread asks the system, the others cost a thread-local read.
[[nodiscard]] KR_API bool isStackNearlyUsed() noexcept;

}  // namespace Kr
