#include "kr/events/event_manager.h"

#include "kr/events/event_manager_internal.h"

namespace KrSim {

EventManager::~EventManager() = default;

EventId EventManager::createEventId(const std::string& name) {
    return EventManagerInternal::createInternalEventId("User Event: " + name);
}

}  // namespace KrSim
