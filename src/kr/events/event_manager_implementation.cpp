#include "kr/events/event_manager_implementation.h"

#include <utility>

#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_internal.h"
#include "kr/events/framework_event_names.h"
#include "kr/events/internal/event_domain.h"
#include "kr/events/sim_event.h"

namespace KrSim {

/// Its death, with the last handle, ends the registration.
class EventManagerImplementation::EventCallback final : public Kr::KrRefCount {
public:
    explicit EventCallback(KrData::DelegateConnection connection) noexcept : _connection(std::move(connection)) {}

private:
    KrData::DelegateConnection _connection;
};

namespace {

KrSimEvent makeEvent(const EventId& id, const EventData& data, const detail::EventDomain& domain) {
    auto event = data.data().empty() ? KrSimEvent(id._getNumber()) : KrSimEvent(id._getNumber(), data.data());
    if (domain.isOfApplication()) detail::SimEventAccess::setOfApplication(event);
    return event;
}

}  // namespace

EventManagerImplementation::EventManagerImplementation(eQueue queue) : _domain(detail::EventDomain::acquire()) {
    try {
        if (queue == eQueue::kOwn) _domain.bind();
        const EventId added = EventManagerInternal::createInternalEventId(kNewNetworkApplicationAddedEventName);
        _applicationAdded =
            registerListener(added, [](const EventData&) { detail::DispatcherAccess::publishEventNames(); });
    } catch (...) {
        _domain.release();
        throw;
    }
}

EventManagerImplementation::~EventManagerImplementation() {
    _applicationAdded.unregister();
    _domain.release();
}

EventListener EventManagerImplementation::createListener(const Kr::KrSmartPtr<Kr::KrRefCount>& object) {
    return object && object->getRefCount() > 0 ? EventListener(object) : EventListener();
}

EventListener EventManagerImplementation::registerListener(const EventId& id,
                                                           std::function<void(const EventData&)> callback) {
    return createListener(
        Kr::makeSmart<EventCallback>(_domain.getCallbacks().add(id._getNumber(), std::move(callback))));
}

// --- Sending -------------------------------------------------------------------------------------------------------

bool EventManagerImplementation::sendEvent(const EventId& id, const EventData& data) {
    detail::DispatcherAccess::sendEvent(makeEvent(id, data, _domain), eEventRoute::kQueued, eEventRoute::kQueued,
                                        _getQueue());
    return true;
}

void EventManagerImplementation::sendEventLocally(const EventId& id, const EventData& data) {
    detail::DispatcherAccess::sendEvent(makeEvent(id, data, _domain), eEventRoute::kQueued, eEventRoute::kNone,
                                        _getQueue());
}

void EventManagerImplementation::sendEventLocallyImmediately(const EventId& id, const EventData& data) {
    detail::DispatcherAccess::sendEvent(makeEvent(id, data, _domain), eEventRoute::kAtOnce, eEventRoute::kNone,
                                        _getQueue());
}

void EventManagerImplementation::sendEventLocallyAndRemotelyImmediately(const EventId& id, const EventData& data) {
    detail::DispatcherAccess::sendEvent(makeEvent(id, data, _domain), eEventRoute::kAtOnce, eEventRoute::kAtOnce,
                                        _getQueue());
}

void EventManagerImplementation::sendEventRemotely(const EventId& id, const EventData& data) {
    detail::DispatcherAccess::sendEvent(makeEvent(id, data, _domain), eEventRoute::kNone, eEventRoute::kQueued,
                                        _getQueue());
}

void EventManagerImplementation::sendEventRemotelyImmediately(const EventId& id, const EventData& data) {
    detail::DispatcherAccess::sendEvent(makeEvent(id, data, _domain), eEventRoute::kNone, eEventRoute::kAtOnce,
                                        _getQueue());
}

void detail::EventManagerAccess::publish(EventManagerImplementation& manager, const EventId& id,
                                         const EventData& data) {
    DispatcherAccess::sendMessage(makeEvent(id, data, manager._domain), manager._getQueue());
}

// --- Of an application ---------------------------------------------------------------------------------------------

void detail::EventManagerAccess::stopRunning(EventManagerImplementation& manager) {
    manager._domain.acceptStops(false);
    LocalQueues::instance().stop(manager._domain.getQueue());
}

void detail::EventManagerAccess::beginEnd(EventManagerImplementation& manager) {
    LocalQueues::instance().end(manager._domain.getQueue());
    manager._domain.getCallbacks().restrictToThisThread();
}

detail::LocalQueue* EventManagerImplementation::_getQueue() const noexcept {
    return _domain.isOfApplication() ? &_domain.getQueue() : nullptr;
}

EventManagerImplementation::Running::Running(EventManagerImplementation& manager)
    : _outer(detail::threadEvents.current) {
    auto& queue = manager._domain.getQueue();
    detail::LocalQueues::instance().enter(queue);
    detail::threadEvents.current = &queue;
}

EventManagerImplementation::Running::~Running() {
    detail::threadEvents.current = _outer;
}

}  // namespace KrSim
