#pragma once

#include "kr/core/id.h"
#include "kr/events/event_id.h"
#include "kr/events/framework_event_names.h"
#include "kr/platform/export.h"

namespace KrSim {

/// A log message: sender name, text, level (int), time (64-bit seconds since 1970-01-01 UTC).
inline constexpr EventId kErrorMessageEvent = EventId::_fromNumber(Kr::KrID::numberFor(kErrorMessageEventName));
/// Asks applications for a log level: level (int), target (the sender name of one of them, empty for all).
inline constexpr EventId kSetLogLevelEvent = EventId::_fromNumber(Kr::KrID::numberFor(kSetLogLevelEventName));
/// Asks applications to send their messages to others, or not to: enabled (bool), target.
inline constexpr EventId kEnableNetworkDispatchEvent =
    EventId::_fromNumber(Kr::KrID::numberFor(kEnableNetworkDispatchEventName));

/// Makes the names of these events known to the event-id list, which then tells other applications.
KR_API void _enterErrorEventNames();

}  // namespace KrSim
