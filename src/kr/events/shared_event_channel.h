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

/// Events of one number that went one way. Bytes are payload, sender name and 12 more for each event.
struct EventTraffic {
    std::uint64_t events{0};
    std::uint64_t bytes{0};
    friend bool operator==(const EventTraffic&, const EventTraffic&) noexcept = default;
};

/// The way of events to and from the other applications of a distributed simulation. A transport derives from it.
///
/// Thread: the dispatcher sends from any thread, several at once, and receives on the thread that processes the local
/// queue; a transport locks what needs it. What a transport throws is logged as a warning by the dispatcher.
class KR_API SharedEventChannel {
public:
    /// The clock is borrowed, for the time of the last receive.
    explicit SharedEventChannel(const Kr::IClock& clock = Kr::SteadyClock::instance());
    SharedEventChannel(const SharedEventChannel&) = delete;
    SharedEventChannel& operator=(const SharedEventChannel&) = delete;
    virtual ~SharedEventChannel();

    void sendEvent(const KrSimEvent& event);
    /// Sends the events in their order.
    void sendEvents(std::span<const KrSimEvent> events);
    /// Appends every event that has arrived from other applications since the last call.
    void receiveEvents(std::vector<KrSimEvent>& batch);

    /// Counts traffic from now on, or no longer; what was counted stays. Off at first. Any thread.
    void enableDebugging(bool enabled) noexcept { _isDebugging.store(enabled, std::memory_order_relaxed); }
    [[nodiscard]] bool isDebuggingEnabled() const noexcept { return _isDebugging.load(std::memory_order_relaxed); }
    [[nodiscard]] EventTraffic getSentTraffic(int id) const;
    [[nodiscard]] EventTraffic getReceivedTraffic(int id) const;
    /// When the last receive brought events, in seconds of the channel's clock; negative before the first.
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
