#pragma once

#include <cstdint>

#include "kr/events/internal/callback_table.h"
#include "kr/events/internal/local_queues.h"
#include "kr/events/sim_event_listener.h"

namespace KrSim::detail {

/// The part of an event manager in the dispatcher: its callbacks and, for the manager of an application, its queue.
///
/// Never destroyed but reused by a later manager, since a delivery on another thread may have its address at the
/// very moment when the manager dies.
/// Thread: any. The domain of an application has its callbacks called for events of its own queue, by the owner of that
/// queue, and for immediate sends by their sender. An event of no application, and one that concerns all, is put into
/// the queue when another thread delivers it.
class EventDomain final : public KrSimEventListener {
public:
    /// A free domain, or a new one.
    [[nodiscard]] static EventDomain& acquire();
    /// Ends all registrations, and waits for deliveries in progress on other threads.
    void release() noexcept;

    /// Sets that an application owns the manager. Before the first registration.
    void bind();
    [[nodiscard]] bool isOfApplication() const noexcept { return _queue.number.load(std::memory_order_relaxed) != 0; }
    [[nodiscard]] LocalQueue& getQueue() noexcept { return _queue; }
    [[nodiscard]] CallbackTable& getCallbacks() noexcept { return _callbacks; }

    void onSimEvent(const KrSimEvent& event) override;
    /// Delivers an event that was put into the queue of this application.
    void deliverForwarded(const KrSimEvent& event, unsigned application, ThreadEvents& self);
    /// Whether a stop event of another application stops this one, too.
    void acceptStops(bool accept) noexcept { _acceptsStops.store(accept, std::memory_order_relaxed); }

private:
    EventDomain() : _callbacks(*this) { _queue.domain = this; }
    /// Calls the callbacks, on the calling thread.
    void _deliver(const KrSimEvent& event, std::uint64_t opening, ThreadEvents& self);
    [[nodiscard]] bool _concerns(const KrSimEvent& event, const Delivery& delivery) const noexcept;
    void _forward(const KrSimEvent& event);

    std::atomic<bool> _acceptsStops{false};
    LocalQueue _queue;
    CallbackTable _callbacks;
    EventDomain* _nextFree{nullptr};  // under the lock of the pool
};

}  // namespace KrSim::detail
