#pragma once

#include <cstdint>

#include "kr/platform/export.h"

namespace Kr {

/// A condition of our own that did not hold. The texts are string literals and live as long as the library they are in.
struct AssertionFailure {
    const char* condition;
    const char* message;
    const char* file;
    std::int32_t line;
};

using AssertionHandler = void (*)(const AssertionFailure& failure);

/// Replaces what a failed assertion does and returns the previous handler, which is never null. Null restores the
/// default: a library built for debugging logs at fatal level and aborts, any other logs a warning and goes on.
/// A handler that returns lets the program go on. Any thread.
KR_API AssertionHandler setAssertionHandler(AssertionHandler handler) noexcept;

/// Hands the failure to the handler, on this thread. For KR_ASSERT.
KR_API void _reportAssertionFailure(const AssertionFailure& failure);

}  // namespace Kr

/// Reports a condition that only a fault of this program can break; checked in every build. The message is a literal.
/// Bad input is no such fault: it gets a documented answer.
#define KR_ASSERT(condition, message)                                                 \
    do {                                                                              \
        if (!(condition)) [[unlikely]] {                                              \
            ::Kr::_reportAssertionFailure({#condition, message, __FILE__, __LINE__}); \
        }                                                                             \
    } while (false)
