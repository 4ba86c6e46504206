#include "kr/events/event_manager_implementation.h"

#include <utility>

#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_internal.h"
#include "kr/events/framework_event_names.h"
#include "kr/events/internal/callback_table.h"
#include "kr/events/sim_event.h"
#include "kr/platform/guard.h"

namespace KrSim {
namespace {

using detail::CallbackRecord;
using detail::CallbackTable;

constexpr Kr::GuardTexts kCallbackTexts{Kr::eLogLevel::kWarn,
                                        "EventManager: Exception thrown when processing event '%s': %s.\n",
                                        "EventManager: Unhandled exception thrown when processing event '%s'.\n"};

KrSimEvent makeEvent(const EventId& id, const EventData& data) {
    return data.data().empty() ? KrSimEvent(id._getNumber()) : KrSimEvent(id._getNumber(), data.data());
}

}  // namespace

/// Its death, with the last handle, is the end of the registration; the callback itself dies with the last delivery
/// that may be inside.
class EventManagerImplementation::EventCallback final : public Kr::KrRefCount {
public:
    EventCallback(Kr::KrSmartPtr<CallbackTable> table, const EventId& id,
                  std::function<void(const EventData&)> callback)
        : _table(std::move(table)), _record(Kr::makeSmart<CallbackRecord>(id._getNumber(), std::move(callback))) {}
    EventCallback(const EventCallback&) = delete;
    EventCallback& operator=(const EventCallback&) = delete;
    ~EventCallback() override { _table->drop(std::move(_record)); }

    void add() { _table->add(_record); }

private:
    Kr::KrSmartPtr<CallbackTable> _table;
    Kr::KrSmartPtr<CallbackRecord> _record;
};

EventManagerImplementation::EventManagerImplementation() : _table(new CallbackTable(*this)) {
    const EventId added = EventManagerInternal::createInternalEventId(kNewNetworkApplicationAddedEventName);
    _applicationAdded = registerListener(added, [](const EventData&) { KrEventDispatcher::_publishEventNames(); });
}

EventManagerImplementation::~EventManagerImplementation() {
    _applicationAdded.unregister();
    _table->close();
}

EventListener EventManagerImplementation::createListener(const Kr::KrSmartPtr<Kr::KrRefCount>& object) {
    return object && object->getRefCount() > 0 ? EventListener(object) : EventListener();
}

EventListener EventManagerImplementation::registerListener(const EventId& id,
                                                           std::function<void(const EventData&)> callback) {
    const auto registration = Kr::makeSmart<EventCallback>(_table, id, std::move(callback));
    registration->add();
    return createListener(registration);
}

void EventManagerImplementation::onSimEvent(const KrSimEvent& event) {
    // A callback may destroy the manager: from here on the delivery stands for itself.
    detail::CallbackDelivery delivery(*_table, event.ID());
    if (delivery.isEmpty()) return;
    delivery.setPayload(event.constData(), event.bytes());
    const auto nameOf = [&event] { return event.nameForID(); };
    delivery.forEach([&nameOf](const auto& callback, const EventData& data) {
        Kr::callGuarded(kCallbackTexts, nameOf, [&] { callback(data); });
    });
}

bool EventManagerImplementation::sendEvent(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventLocallyAndRemotely(makeEvent(id, data));
    return true;
}

void EventManagerImplementation::sendEventLocally(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventLocally(makeEvent(id, data));
}

void EventManagerImplementation::sendEventLocallyImmediately(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventLocallyImmediately(makeEvent(id, data));
}

void EventManagerImplementation::sendEventLocallyAndRemotelyImmediately(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventLocallyAndRemotelyImmediately(makeEvent(id, data));
}

void EventManagerImplementation::sendEventRemotely(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventRemotely(makeEvent(id, data));
}

void EventManagerImplementation::sendEventRemotelyImmediately(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventRemotelyImmediately(makeEvent(id, data));
}

}  // namespace KrSim
