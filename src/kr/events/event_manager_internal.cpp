#include "kr/events/event_manager_internal.h"

#include <utility>

#include "kr/events/event_access.h"
#include "kr/events/event_id_list.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/platform/assert.h"
#include "kr/platform/log.h"

namespace KrSim {

EventManagerInternal::EventManagerInternal(EventManager* manager)
    : _manager(dynamic_cast<EventManagerImplementation*>(manager)) {
    if (!_manager) Kr::logErrorNoThrow("EventManagerInternal: created with an invalid EventManager object\n");
}

EventManagerInternal::~EventManagerInternal() = default;

EventId EventManagerInternal::createInternalEventId(const std::string& name) {
    KR_ASSERT(!name.empty(), "Trying to create an event ID with an empty name.\n");
    return name.empty() ? EventId() : EventId::_fromNumber(EventIDList::instance().add(name));
}

EventListener EventManagerInternal::registerListener(const EventId& id,
                                                     std::function<void(const EventData&)> callback) {
    return _manager ? _manager->registerListener(id, std::move(callback)) : EventListener();
}

bool EventManagerInternal::sendEvent(const EventId& id, const EventData& data) {
    return _manager && _manager->sendEvent(id, data);
}

void EventManagerInternal::sendEventLocally(const EventId& id, const EventData& data) {
    if (_manager) _manager->sendEventLocally(id, data);
}

void EventManagerInternal::sendEventLocallyImmediately(const EventId& id, const EventData& data) {
    if (_manager) _manager->sendEventLocallyImmediately(id, data);
}

void EventManagerInternal::sendEventLocallyAndRemotelyImmediately(const EventId& id, const EventData& data) {
    if (_manager) _manager->sendEventLocallyAndRemotelyImmediately(id, data);
}

void EventManagerInternal::sendEventRemotely(const EventId& id, const EventData& data) {
    if (_manager) _manager->sendEventRemotely(id, data);
}

void EventManagerInternal::sendEventRemotelyImmediately(const EventId& id, const EventData& data) {
    if (_manager) _manager->sendEventRemotelyImmediately(id, data);
}

void detail::EventManagerAccess::publish(EventManagerInternal& manager, const EventId& id, const EventData& data) {
    if (manager._manager) publish(*manager._manager, id, data);
}

}  // namespace KrSim
