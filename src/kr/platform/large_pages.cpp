#include "kr/platform/large_pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace Kr {

namespace {
/// A large page of most systems.
constexpr std::size_t kLeast = std::size_t{2} << 20;
}  // namespace

void preferLargePages(const void* begin, std::size_t size) noexcept {
    if (size < kLeast) return;
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto first = (reinterpret_cast<std::uintptr_t>(begin) + page - 1) / page * page;
    const auto end = (reinterpret_cast<std::uintptr_t>(begin) + size) / page * page;
    // A wish: where the system refuses it, the memory is as good.
    static_cast<void>(madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE));
}

}  // namespace Kr
