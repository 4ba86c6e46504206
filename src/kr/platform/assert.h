#pragma once

#include <cstdint>

#include "kr/platform/export.h"

namespace Kr {

/// A broken condition of the program. The texts are string literals and live as long as the library that contains them.
struct AssertionFailure {
    const char* condition;
    const char* message;
    const char* file;
    std::int32_t line;
};

using AssertionHandler = void (*)(const AssertionFailure& failure);

/// Replaces the action of a failed assertion and returns the previous handler, which is never null. Null restores the
/// default: a library built for debugging logs at fatal level and aborts, any other logs a warning and continues. The
/// program continues when a handler returns. Any thread.
KR_API AssertionHandler setAssertionHandler(AssertionHandler handler) noexcept;

/// Calls the handler with the failure, on this thread. For KR_ASSERT.
KR_API void _reportAssertionFailure(const AssertionFailure& failure);

}  // namespace Kr

/// Reports a condition that only a fault of this program can break; checked in every build. The message is a literal.
/// Not for bad input, which gets a documented result.
#define KR_ASSERT(condition, message)                                                 \
    do {                                                                              \
        if (!(condition)) [[unlikely]] {                                              \
            ::Kr::_reportAssertionFailure({#condition, message, __FILE__, __LINE__}); \
        }                                                                             \
    } while (false)
