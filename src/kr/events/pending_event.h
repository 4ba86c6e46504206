#pragma once

#include "kr/events/sim_event.h"

namespace KrSim {

/// An event that waits in the dispatcher: for its delay to end, or for the owner thread.
struct PendingEvent {
    KrSimEvent event;        ///< with a delay of 0
    double dueSeconds{0.0};  ///< by the clock of delays
    bool isLocal{true};
    bool isRemote{false};
    bool isRestored{false};  ///< part of a restored state, and not sent since
};

}  // namespace KrSim
