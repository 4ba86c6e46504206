#pragma once

#include <functional>
#include <string>

#include "kr/events/event_id.h"
#include "kr/events/event_listener.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Publish and subscribe inside an application: callbacks by event id, payloads as EventData.
///
/// Ask the application context for it; an application without one answers with an InvalidEventManager.
///
///     const EventId id = EventManager::createEventId("Gear changed");
///     _listener = events.registerListener(id, [this](const EventData& data) { data >> _gear; });
///     EventData data;
///     data << 3;
///     events.sendEvent(id, data);
///
/// Thread: all operations on any thread. Callbacks run on the application's thread: within sendEvent when that thread
/// sends, with its next frame for events of other threads and applications. docs/events.md has the rest.
class KR_API EventManager {
public:
    EventManager() = default;
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;
    virtual ~EventManager();

    /// The id of the event "User Event: " followed by the name, the same for every call with this name.
    [[nodiscard]] static EventId createEventId(const std::string& name);

    /// The callback runs for every event of this id, in the order of registration, as long as the handle or a copy of
    /// it lives. The payload is good during the call and read from its start by each callback. A callback that drops
    /// the last handle of a later one keeps it from being called; one registered during a delivery waits for the next.
    /// An exception is logged as a warning, and the delivery goes on.
    [[nodiscard]] virtual EventListener registerListener(const EventId& id,
                                                         std::function<void(const EventData&)> callback) = 0;
    /// Sends to this application and to those it is networked with. The payload is copied. False without a manager.
    virtual bool sendEvent(const EventId& id, const EventData& data) = 0;
};

}  // namespace KrSim
