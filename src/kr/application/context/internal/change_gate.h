#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

#include "kr/platform/thread_id.h"

namespace KrSim::detail {

/// The data that decide, besides the flags of ApplicationState, whether a change runs now.
struct ChangeGate {
    std::mutex mutex;  // guards all members; the flags "alive" and "running" are written under it
    std::condition_variable left;
    /// The thread that makes a change while no main loop runs; also read without the lock.
    std::atomic<Kr::ThreadId> holder{Kr::ThreadId::kNone};
    int depth{0};  // of nested changes
    /// Requested by other threads meanwhile; the holder runs them.
    std::vector<std::function<void()>> handedOver;

    /// Under the lock.
    [[nodiscard]] bool isFree() const noexcept {
        const auto inside = holder.load(std::memory_order_relaxed);
        return inside == Kr::ThreadId::kNone || inside == Kr::getCurrentThreadId();
    }
    void hold() noexcept {
        holder.store(Kr::getCurrentThreadId(), std::memory_order_relaxed);
        ++depth;
    }
};

}  // namespace KrSim::detail
