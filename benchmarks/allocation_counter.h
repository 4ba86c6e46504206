#pragma once

#include <cstdint>

/// Counts what a program asks of operator new. Link allocation_counter.cpp, which replaces it.
namespace kr_benchmark {

std::uint64_t allocations() noexcept;
std::uint64_t bytesAsked() noexcept;
/// The same with the rounding of the C library's allocator.
std::uint64_t bytesUsable() noexcept;

/// Asked before each allocation, on its thread; it fails when this answers true.
using AllocationFails = bool (*)() noexcept;
/// Null: none fails.
void setAllocationFails(AllocationFails fails) noexcept;

}  // namespace kr_benchmark
