#include "benchmarks/allocation_counter.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "kr/platform/pool_usage.h"

namespace {

std::atomic<std::uint64_t> allocationCount{0};
std::atomic<std::uint64_t> askedBytes{0};
std::atomic<std::uint64_t> usableBytes{0};
std::atomic<kr_benchmark::AllocationFails> allocationFails{nullptr};

/// What `get` answers, null where it has no memory or the program wants none.
template <class Get>
void* allocateOrNull(std::size_t size, const Get& get) noexcept {
    const auto fails = allocationFails.load(std::memory_order_relaxed);
    void* memory = fails != nullptr && fails() ? nullptr : get();
    if (memory == nullptr) return nullptr;
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    askedBytes.fetch_add(size, std::memory_order_relaxed);
    usableBytes.fetch_add(malloc_usable_size(memory), std::memory_order_relaxed);
    return memory;
}

void* allocateOrNull(std::size_t size) noexcept {
    return allocateOrNull(size, [size] { return std::malloc(size != 0 ? size : 1); });
}

void* orThrow(void* memory) {
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    return orThrow(allocateOrNull(size));
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    const auto step = static_cast<std::size_t>(alignment);
    const auto whole = (size + step - 1) / step * step;
    return orThrow(allocateOrNull(size, [step, whole] { return std::aligned_alloc(step, whole != 0 ? whole : step); }));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return operator new(size, alignment);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size);
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

namespace kr_benchmark {

void setAllocationFails(AllocationFails fails) noexcept {
    allocationFails.store(fails);
}

std::uint64_t allocations() noexcept {
    return allocationCount.load() + Kr::getPoolUsage().objects;
}
std::uint64_t bytesAsked() noexcept {
    return askedBytes.load() + Kr::getPoolUsage().bytes;
}
std::uint64_t bytesUsable() noexcept {
    return usableBytes.load() + Kr::getPoolUsage().bytes;
}

}  // namespace kr_benchmark
