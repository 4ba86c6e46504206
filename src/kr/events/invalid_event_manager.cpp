#include "kr/events/invalid_event_manager.h"

#include "kr/events/event_id_list.h"
#include "kr/platform/log.h"

namespace KrSim {

InvalidEventManager::~InvalidEventManager() = default;

EventListener InvalidEventManager::registerListener(const EventId& id, std::function<void(const EventData&)> callback) {
    callback = nullptr;  // its data is destroyed before the report
    Kr::logErrorNoThrow(
        "EventManager: the event manager is not in the application, a listener for '%s' cannot be registered.\n",
        EventIDList::instance().getName(id).c_str());
    return {};
}

bool InvalidEventManager::sendEvent(const EventId& id, const EventData&) {
    if (Kr::LogGetLevel() >= Kr::eLogLevel::kTrace) {
        Kr::logMessage(Kr::eLogLevel::kTrace,
                       "EventManager: the event manager is not in the application, the event '%s' cannot be sent.\n",
                       EventIDList::instance().getName(id).c_str());
    }
    return false;
}

}  // namespace KrSim
