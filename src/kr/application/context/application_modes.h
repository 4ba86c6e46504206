#pragma once

#include <cstdint>

namespace KrSim {

// The numbers are stored in setups. All three are registered enumerations (Kr::KrEnum).

/// What an application does with its content.
enum class eApplicationMode : std::int32_t { kSimulating, kEditing, kPlayback };

/// How the main loop keeps its frame rate. kSWSync and kSWAndVSync pace by the clock; the others run free.
enum class eSynchronizationMode : std::int32_t { kSyncOff, kVSync, kSWSync, kSWAndVSync };

/// The part of an application in a distributed simulation.
enum class eCommunicationModel : std::int32_t { kMaster, kSlave, kAutomatic };

}  // namespace KrSim
