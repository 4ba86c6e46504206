#pragma once

#include <functional>
#include <string>

#include "kr/events/event_manager.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The event manager as the framework's own code uses it: ids without the prefix of user events, and all ways of
/// sending. The manager is borrowed and must outlive it.
class KR_API EventManagerInternal final : public EventManager {
public:
    /// A manager that is no EventManagerImplementation is reported at error level; nothing is sent or registered then.
    explicit EventManagerInternal(EventManager* manager);
    ~EventManagerInternal() override;

    /// The id of the event of exactly this name; an empty name is a failed assertion and gives the id of no event.
    [[nodiscard]] static EventId createInternalEventId(const std::string& name);
    [[nodiscard]] static EventId createInternalEventId(int number) noexcept { return EventId::_fromNumber(number); }

    [[nodiscard]] EventListener registerListener(const EventId& id,
                                                 std::function<void(const EventData&)> callback) override;
    bool sendEvent(const EventId& id, const EventData& data) override;
    void sendEventLocally(const EventId& id, const EventData& data);
    void sendEventLocallyImmediately(const EventId& id, const EventData& data);
    void sendEventLocallyAndRemotelyImmediately(const EventId& id, const EventData& data);
    void sendEventRemotely(const EventId& id, const EventData& data);
    void sendEventRemotelyImmediately(const EventId& id, const EventData& data);
    /// As that of the manager.
    void _publish(const EventId& id, const EventData& data);

private:
    EventManagerImplementation* _manager;  // null when what was given is another manager
};

}  // namespace KrSim
