#pragma once

#include <cstdint>

/// Counts what a benchmark program asks of operator new. Link allocation_counter.cpp, which replaces it.
namespace kr_benchmark {

std::uint64_t allocations() noexcept;
std::uint64_t bytesAsked() noexcept;
/// The same with the rounding of the C library's allocator.
std::uint64_t bytesUsable() noexcept;

}  // namespace kr_benchmark
