#include "tests/allocation/allocation_failure.h"

#include <new>

#include "benchmarks/allocation_counter.h"
#include "kr/platform/internal/object_pool.h"

namespace {

// Of each thread, so that other threads of the process never fail.
constinit thread_local std::size_t allocationsLeft = 0;  // until the failure; 0 where none is planned
constinit thread_local bool isLasting = false;
constinit thread_local bool hasFailed = false;

bool mustFail() noexcept {
    if (hasFailed && isLasting) return true;
    if (allocationsLeft == 0 || --allocationsLeft > 0) return false;
    hasFailed = true;
    return true;
}

}  // namespace

namespace test_support {

AllocationFailure::AllocationFailure(std::size_t number, Kind kind) noexcept {
    hasFailed = false;
    isLasting = kind == Kind::kLasting;
    allocationsLeft = number;
    kr_benchmark::setAllocationFails(mustFail);
    Kr::detail::setPoolWatch([] {
        if (mustFail()) throw std::bad_alloc();
    });
}

AllocationFailure::~AllocationFailure() {
    end();
    hasFailed = false;
}

void AllocationFailure::end() noexcept {
    kr_benchmark::setAllocationFails(nullptr);
    Kr::detail::setPoolWatch(nullptr);
    allocationsLeft = 0;
    isLasting = false;
}

bool AllocationFailure::hasStruck() const noexcept {
    return hasFailed;
}

}  // namespace test_support
