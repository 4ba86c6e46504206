#include "kr/events/errors/error_events.h"

#include "kr/events/event_manager_internal.h"

namespace KrSim {

void _enterErrorEventNames() {
    for (const char* name : {kErrorMessageEventName, kSetLogLevelEventName, kEnableNetworkDispatchEventName}) {
        static_cast<void>(EventManagerInternal::createInternalEventId(name));
    }
}

}  // namespace KrSim
