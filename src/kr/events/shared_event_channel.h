#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <span>
#include <vector>

#include "kr/events/fwd.h"
#include "kr/platform/clock.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Number and bytes of the events of one number in one direction. Bytes of an event: payload, sender name and 12 more.
struct EventTraffic {
    std::uint64_t events{0};
    std::uint64_t bytes{0};
    friend bool operator==(const EventTraffic&, const EventTraffic&) noexcept = default;
};

/// Sends events to the other applications of a distributed simulation and receives theirs. A transport derives from it.
///
/// Thread: the dispatcher sends on any thread, on several at the same time, and receives on the thread that processes
/// the local queue; a transport locks its own data. Exceptions of a transport are logged as warnings by the dispatcher.
/// Ownership: shared by the dispatcher and its user; the clock is borrowed.
class KR_API SharedEventChannel {
public:
    /// \param clock  for the time of the last receive.
    explicit SharedEventChannel(const Kr::IClock& clock = Kr::SteadyClock::instance());
    SharedEventChannel(const SharedEventChannel&) = delete;
    SharedEventChannel& operator=(const SharedEventChannel&) = delete;
    virtual ~SharedEventChannel();

    void sendEvent(const KrSimEvent& event);
    /// Sends the events in their order.
    void sendEvents(std::span<const KrSimEvent> events);
    /// Appends the events that have arrived from other applications since the last call.
    void receiveEvents(std::vector<KrSimEvent>& batch);

    /// Counts traffic from now on, or no longer; counts so far are kept. Initially off. Any thread.
    void enableDebugging(bool enabled) noexcept { _isDebugging.store(enabled, std::memory_order_relaxed); }
    [[nodiscard]] bool isDebuggingEnabled() const noexcept { return _isDebugging.load(std::memory_order_relaxed); }
    /// Zero for a number without traffic. Any thread.
    [[nodiscard]] EventTraffic getSentTraffic(int id) const;
    /// Zero for a number without traffic. Any thread.
    [[nodiscard]] EventTraffic getReceivedTraffic(int id) const;
    /// Time of the last receive that brought events, in seconds of the channel's clock; negative before the first.
    [[nodiscard]] double getLastReceiveSeconds() const;

private:
    virtual void _sendEvent(const KrSimEvent& event) = 0;
    virtual void _sendEvents(std::span<const KrSimEvent> events) = 0;
    virtual void _receiveEvents(std::vector<KrSimEvent>& batch) = 0;

    using Traffic = std::map<int, EventTraffic>;
    void _count(Traffic& traffic, std::span<const KrSimEvent> events);
    [[nodiscard]] EventTraffic _find(const Traffic& traffic, int id) const;

    const Kr::IClock& _clock;
    std::atomic<bool> _isDebugging{false};
    mutable std::mutex _mutex;  // guards the members below
    Traffic _sent;
    Traffic _received;
    double _lastReceiveSeconds{-1.0};
};

}  // namespace KrSim
