#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

namespace KrSim::detail {

/// The signal that a blocking sender waits for.
class DoneSignal : public std::enable_shared_from_this<DoneSignal> {
public:
    enum class eState { kPending, kHandled, kDropped };

    explicit DoneSignal(bool automatic) noexcept : isAutomatic(automatic) {}

    /// The first state is kept.
    void raise(eState state) noexcept {
        // Notified under the lock: the waiting thread may free the signal as soon as it sees the state.
        const std::lock_guard lock(_mutex);
        if (_state != eState::kPending) return;
        _state = state;
        _raised.notify_all();
    }
    /// Returns pending when the time is over; does not wait for 0. NaN waits longer than any run.
    [[nodiscard]] eState waitFor(double seconds) {
        const auto isRaised = [this] { return _state != eState::kPending; };
        std::unique_lock lock(_mutex);
        if (constexpr double kLongest = 1e6; seconds < kLongest) {
            _raised.wait_for(lock, std::chrono::duration<double>(seconds), isRaised);
        } else {  // longer waits would overflow the clock
            _raised.wait(lock, isRaised);
        }
        return _state;
    }

    std::atomic<bool> isAutomatic;

private:
    std::mutex _mutex;  // guards the state
    std::condition_variable _raised;
    eState _state{eState::kPending};
};

/// Shared by all copies of an awaited event, but not by the waiting one: destroying the last copy releases the sender.
class DoneTicket {
public:
    explicit DoneTicket(std::shared_ptr<DoneSignal> signal) noexcept : _signal(std::move(signal)) {}
    DoneTicket(const DoneTicket&) = delete;
    DoneTicket& operator=(const DoneTicket&) = delete;
    ~DoneTicket() { _signal->raise(DoneSignal::eState::kDropped); }

private:
    std::shared_ptr<DoneSignal> _signal;
};

}  // namespace KrSim::detail
