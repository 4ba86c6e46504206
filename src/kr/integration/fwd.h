#pragma once

#include <cstdint>

namespace KrSim {
class Dynamics;
struct IntegrationOptions;
struct IntegrationStatistics;
enum class eIntegrator : std::int32_t;
}  // namespace KrSim
