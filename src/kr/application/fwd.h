#pragma once

#include "kr/application/modules/fwd.h"
#include "kr/core/fwd.h"

namespace KrSim::detail {
struct ApplicationAccess;
}  // namespace KrSim::detail

namespace KrSim {
class ApplicationConfig;
class FrameMeter;
class FramePacer;
class IApplicationListener;
class ISimulationFileManager;
class KrContentDispatcher;
struct RunLimits;
}  // namespace KrSim
