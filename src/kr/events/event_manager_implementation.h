#pragma once

#include <functional>

#include "kr/events/event_manager.h"
#include "kr/events/sim_event_listener.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

namespace detail {
class CallbackTable;
}  // namespace detail

/// The event manager of an application, above the dispatcher.
///
/// Subscribed at the dispatcher to the ids that have a live callback. It publishes the names of this process's events
/// when an application joins the network.
/// Lifetime: handles may outlive it; their callbacks are not called any more. No delivery may be under way on another
/// thread when it dies.
class KR_API EventManagerImplementation final : public EventManager, private KrSimEventListener {
public:
    /// What a handle holds: the id and the callback, which may be empty.
    class EventCallback;

    EventManagerImplementation();
    ~EventManagerImplementation() override;

    /// A handle on the object; empty for null and for an object that is being destroyed.
    [[nodiscard]] static EventListener createListener(const Kr::KrSmartPtr<Kr::KrRefCount>& object);

    [[nodiscard]] EventListener registerListener(const EventId& id,
                                                 std::function<void(const EventData&)> callback) override;
    bool sendEvent(const EventId& id, const EventData& data) override;

    // The other ways of the dispatcher, under its names.
    void sendEventLocally(const EventId& id, const EventData& data);
    void sendEventLocallyImmediately(const EventId& id, const EventData& data);
    void sendEventLocallyAndRemotelyImmediately(const EventId& id, const EventData& data);
    void sendEventRemotely(const EventId& id, const EventData& data);
    void sendEventRemotelyImmediately(const EventId& id, const EventData& data);

private:
    void onSimEvent(const KrSimEvent& event) override;

    Kr::KrSmartPtr<detail::CallbackTable> _table;
    EventListener _applicationAdded;
};

}  // namespace KrSim
