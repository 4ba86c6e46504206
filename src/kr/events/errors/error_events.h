#pragma once

#include "kr/core/id.h"
#include "kr/events/event_id.h"
#include "kr/events/framework_event_names.h"
#include "kr/platform/export.h"

namespace KrSim {

/// A log message: sender name, text, level (int), time (64-bit seconds since 1970-01-01 UTC).
inline constexpr EventId kErrorMessageEvent = EventId::_fromNumber(Kr::KrID::numberFor(kErrorMessageEventName));
/// Requests a log level of applications: level (int), target (the sender name of one of them, empty for all).
inline constexpr EventId kSetLogLevelEvent = EventId::_fromNumber(Kr::KrID::numberFor(kSetLogLevelEventName));
/// Requests applications to send their messages to others, or not to: enabled (bool), target.
inline constexpr EventId kEnableNetworkDispatchEvent =
    EventId::_fromNumber(Kr::KrID::numberFor(kEnableNetworkDispatchEventName));

/// Adds the names of these events to the event-id list, which then publishes them to other applications.
KR_API void _enterErrorEventNames();

}  // namespace KrSim
