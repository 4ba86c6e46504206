#pragma once

#include "kr/core/fwd.h"

namespace KrSim {

namespace detail {
class EventDomain;
class LocalQueue;
struct EventDataAccess;
struct EventManagerAccess;
struct SimEventAccess;
}  // namespace detail

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

/// How a send reaches the listeners here, or other applications.
enum class eEventRoute { kNone, kQueued, kAtOnce };

}  // namespace KrSim
