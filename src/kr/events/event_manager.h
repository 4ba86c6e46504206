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
/// The application context returns it; for an application without one it is an InvalidEventManager.
///
///     const EventId id = EventManager::createEventId("Gear changed");
///     _listener = events.registerListener(id, [this](const EventData& data) { data >> _gear; });
///     EventData data;
///     data << 3;
///     events.sendEvent(id, data);
///
/// Thread: any. Callbacks run on the application's thread: within sendEvent when that thread sends, in its next frame
/// for events of other threads and applications. Details: docs/events.md.
/// Ownership: the application owns it; handles own callbacks.
class KR_API EventManager {
public:
    EventManager() = default;
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;
    virtual ~EventManager();

    /// The id of the event "User Event: " followed by the name; each call with the same name gives the same id.
    [[nodiscard]] static EventId createEventId(const std::string& name);

    /// The callback runs for every event of this id, in the order of registration, as long as the handle or a copy of
    /// it lives. The payload is valid during the call; each callback reads it from its start. A callback that drops the
    /// last handle of a later one prevents its call; one registered during a delivery waits for the next event. An
    /// exception is logged as a warning, and the delivery continues.
    [[nodiscard]] virtual EventListener registerListener(const EventId& id,
                                                         std::function<void(const EventData&)> callback) = 0;
    /// Sends to this application and to those networked with it. The payload is copied. False without a manager.
    virtual bool sendEvent(const EventId& id, const EventData& data) = 0;
};

}  // namespace KrSim
