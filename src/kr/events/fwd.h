#pragma once

#include "kr/core/fwd.h"

namespace KrSim {
class EventIDList;
class EventId;
class KrEventDispatcher;
class KrSimEvent;
class KrSimEventListener;
class SharedEventChannel;
}  // namespace KrSim
