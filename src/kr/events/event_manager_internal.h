#pragma once

#include <functional>
#include <string>

#include "kr/events/event_manager.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The event manager for the framework's own code: ids without the prefix of user events, and all kinds of sends.
/// Thread: any. Ownership: the manager is borrowed and must outlive it.
class KR_API EventManagerInternal final : public EventManager {
public:
    /// A manager that is no EventManagerImplementation is reported at error level; all calls do nothing then.
    explicit EventManagerInternal(EventManager* manager);
    ~EventManagerInternal() override;

    /// The id of the event of exactly this name; an empty name is a failed assertion and gives the id of no event.
    [[nodiscard]] static EventId createInternalEventId(const std::string& name);
    [[nodiscard]] static EventId createInternalEventId(int number) noexcept { return EventId::_fromNumber(number); }

    [[nodiscard]] EventListener registerListener(const EventId& id,
                                                 std::function<void(const EventData&)> callback) override;
    bool sendEvent(const EventId& id, const EventData& data) override;
    /// The sends of KrEventDispatcher under the same names, through the queue of the manager's application.
    void sendEventLocally(const EventId& id, const EventData& data);
    void sendEventLocallyImmediately(const EventId& id, const EventData& data);
    void sendEventLocallyAndRemotelyImmediately(const EventId& id, const EventData& data);
    void sendEventRemotely(const EventId& id, const EventData& data);
    void sendEventRemotelyImmediately(const EventId& id, const EventData& data);

private:
    friend struct detail::EventManagerAccess;

    EventManagerImplementation* _manager;  // null when the given manager is of another class
};

}  // namespace KrSim
