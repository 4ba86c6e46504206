#pragma once

#include "kr/core/fwd.h"

namespace Kr {
class KrInputOutputContainer;
}  // namespace Kr

namespace KrSim::detail {
class InstanceSync;
class ObjectMap;
struct ExtensionAccess;
struct FieldsAccess;
struct ObjectAccess;
struct StateAccess;
struct StateHeader;
}  // namespace KrSim::detail

namespace KrSim {
class IKeptContent;
class IObject;
class KrCloneMap;
class KrExtensionFactory;
class KrExtensionHashMap;
class KrExtensionState;
class KrFactoryKey;
class KrMessageList;
class KrObject;
class KrSimulationState;
class KrVersioningRegistry;
struct KrWaitingConnection;
template <class T>
class KrSmartInterface;
}  // namespace KrSim
