#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

namespace KrSim::detail {

/// What a blocking sender waits on.
class DoneSignal {
public:
    enum class eState { kPending, kHandled, kDropped };

    /// The first state stays.
    void raise(eState state) noexcept {
        // Notified under the lock: the waiting thread may free the signal as soon as it sees the state.
        const std::lock_guard lock(_mutex);
        if (_state != eState::kPending) return;
        _state = state;
        _raised.notify_all();
    }
    [[nodiscard]] eState wait() {
        std::unique_lock lock(_mutex);
        _raised.wait(lock, [this] { return _state != eState::kPending; });
        return _state;
    }
    /// Pending when the time is over; at once for 0.
    [[nodiscard]] eState waitFor(double seconds) {
        // Longer waits would overflow the clock.
        const std::chrono::duration<double> longest(std::min(seconds, 1e6));
        std::unique_lock lock(_mutex);
        _raised.wait_for(lock, longest, [this] { return _state != eState::kPending; });
        return _state;
    }

private:
    std::mutex _mutex;  // guards the state
    std::condition_variable _raised;
    eState _state{eState::kPending};
};

/// Shared by all copies of an awaited event, but not by the sender: the destruction of the last copy releases the
/// sender.
class DoneTicket {
public:
    DoneTicket(std::shared_ptr<DoneSignal> signal, bool automatic) noexcept
        : isAutomatic(automatic), _signal(std::move(signal)) {}
    DoneTicket(const DoneTicket&) = delete;
    DoneTicket& operator=(const DoneTicket&) = delete;
    ~DoneTicket() { _signal->raise(DoneSignal::eState::kDropped); }

    void raise() noexcept { _signal->raise(DoneSignal::eState::kHandled); }

    std::atomic<bool> isAutomatic;

private:
    std::shared_ptr<DoneSignal> _signal;
};

}  // namespace KrSim::detail
