#pragma once

#include "kr/core/fwd.h"

namespace KrSim {
class ISimulatorModule;
class KrSimulatorModule;
class KrSimulatorModuleSequence;
}  // namespace KrSim
