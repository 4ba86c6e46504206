#pragma once

#include "kr/core/id.h"
#include "kr/events/framework_event_names.h"
#include "kr/events/sim_event.h"

namespace KrSim::detail {

inline constexpr int kPublishNumber = Kr::KrID::numberFor(kPublishLocalEventIdsName);
inline constexpr int kStopNumber = Kr::KrID::numberFor(kStopApplicationEventName);
inline constexpr int kStopOthersNumber = Kr::KrID::numberFor(kStopOtherApplicationsEventName);
inline constexpr int kMessageNumber = Kr::KrID::numberFor(kErrorMessageEventName);

/// Whether the event requests applications to end their main loops.
inline bool isStop(const KrSimEvent& event) noexcept {
    return event.ID() == kStopNumber || event.ID() == kStopOthersNumber;
}

}  // namespace KrSim::detail
