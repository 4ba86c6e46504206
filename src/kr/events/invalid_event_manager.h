#pragma once

#include <functional>

#include "kr/events/event_manager.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Stands for the event manager of an application that has none: reports, and does nothing.
class KR_API InvalidEventManager final : public EventManager {
public:
    ~InvalidEventManager() override;

    /// An empty handle; reported at error level, never thrown.
    [[nodiscard]] EventListener registerListener(const EventId& id,
                                                 std::function<void(const EventData&)> callback) override;
    /// False; reported at trace level.
    bool sendEvent(const EventId& id, const EventData& data) override;
};

}  // namespace KrSim
