#include "kr/platform/assert.h"

#include <atomic>
#include <cstdlib>

#include "kr/platform/log.h"

namespace Kr {
namespace {

#ifdef NDEBUG
constexpr bool kEndsProgram = false;
#else
constexpr bool kEndsProgram = true;
#endif

void defaultAssertionHandler(const AssertionFailure& failure) {
    logMessage(kEndsProgram ? eLogLevel::kFatal : eLogLevel::kWarn, "Assertion failed: %s (%s), %s:%d\n",
               failure.message, failure.condition, failure.file, failure.line);
    if constexpr (kEndsProgram) std::abort();
}

constinit std::atomic<AssertionHandler> assertionHandler{&defaultAssertionHandler};

}  // namespace

AssertionHandler setAssertionHandler(AssertionHandler handler) noexcept {
    return assertionHandler.exchange(handler ? handler : &defaultAssertionHandler, std::memory_order_acq_rel);
}

void _reportAssertionFailure(const AssertionFailure& failure) {
    assertionHandler.load(std::memory_order_acquire)(failure);
}

}  // namespace Kr
