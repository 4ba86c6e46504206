#pragma once

#include "kr/core/fwd.h"

namespace KrSim {
class EventData;
class EventIDList;
class EventId;
class EventListener;
class EventListenerList;
class EventManager;
class EventManagerImplementation;
class EventManagerInternal;
class InvalidEventManager;
class KrEventDispatcher;
class KrSimEvent;
class KrSimEventListener;
class SharedEventChannel;
}  // namespace KrSim
