#include "kr/application/i_simulation_file_manager.h"

namespace KrSim {

ISimulationFileManager::~ISimulationFileManager() = default;

}  // namespace KrSim
