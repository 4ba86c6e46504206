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

void* allocate(std::size_t size) {
    void* memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    askedBytes.fetch_add(size, std::memory_order_relaxed);
    usableBytes.fetch_add(malloc_usable_size(memory), std::memory_order_relaxed);
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
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

namespace kr_benchmark {

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
