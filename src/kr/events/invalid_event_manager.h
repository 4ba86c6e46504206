#pragma once

#include <functional>

#include "kr/events/event_manager.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The event manager of an application that has none: reports each call and does nothing.
/// Thread: any. Ownership: none.
class KR_API InvalidEventManager final : public EventManager {
public:
    ~InvalidEventManager() override;

    /// Returns an empty handle; reported at error level, never thrown.
    [[nodiscard]] EventListener registerListener(const EventId& id,
                                                 std::function<void(const EventData&)> callback) override;
    /// Returns false; reported at trace level.
    bool sendEvent(const EventId& id, const EventData& data) override;
};

}  // namespace KrSim
