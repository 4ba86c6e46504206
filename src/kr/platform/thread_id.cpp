#include "kr/platform/thread_id.h"

#include <atomic>

namespace Kr {

ThreadId getCurrentThreadId() noexcept {
    static constinit std::atomic<std::uint64_t> lastId{0};
    thread_local const ThreadId id{lastId.fetch_add(1, std::memory_order_relaxed) + 1};
    return id;
}

}  // namespace Kr
