#include "tests/allocation/allocation_failure.h"

#include <cstdlib>
#include <new>

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

void* allocate(std::size_t size) {
    void* memory = mustFail() ? nullptr : std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void* allocate(std::size_t size, std::align_val_t alignment) {
    const auto step = static_cast<std::size_t>(alignment);
    void* memory = mustFail() ? nullptr : std::aligned_alloc(step, (size + step - 1) / step * step);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocate(size, alignment);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return mustFail() ? nullptr : std::malloc(size != 0 ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, nothrow);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}

namespace test_support {

AllocationFailure::AllocationFailure(std::size_t number, Kind kind) noexcept {
    hasFailed = false;
    isLasting = kind == Kind::kLasting;
    allocationsLeft = number;
    Kr::detail::setPoolWatch([] {
        if (mustFail()) throw std::bad_alloc();
    });
}

AllocationFailure::~AllocationFailure() {
    end();
    hasFailed = false;
}

void AllocationFailure::end() noexcept {
    Kr::detail::setPoolWatch(nullptr);
    allocationsLeft = 0;
    isLasting = false;
}

bool AllocationFailure::hasStruck() const noexcept {
    return hasFailed;
}

}  // namespace test_support
