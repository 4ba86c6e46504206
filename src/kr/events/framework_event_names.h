#pragma once

namespace KrSim {

/// The names of the framework's own events. Applications that share events agree on these texts.

/// A list of event names of another application; see EventIDList.
inline constexpr const char* kPublishLocalEventIdsName = "EventID::InternalData::PublishLocalEventIds";

inline constexpr const char* kStopApplicationEventName = "KrApplication::kStopApplicationEvent";
inline constexpr const char* kStopOtherApplicationsEventName = "KrApplication::kStopOtherApplicationsEvent";
inline constexpr const char* kNewNetworkApplicationAddedEventName = "KrApplication::kNewNetworkApplicationAddedEvent";

inline constexpr const char* kErrorMessageEventName = "Error Manager: Error Message";
inline constexpr const char* kSetLogLevelEventName = "Error Manager: Set Log Level";
/// The two blanks are part of the name.
inline constexpr const char* kEnableNetworkDispatchEventName = "Error Manager: Enable  Network Dispatch";

}  // namespace KrSim
