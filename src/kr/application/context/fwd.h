#pragma once

#include <cstdint>

#include "kr/events/fwd.h"

namespace KrSim {
class ApplicationContext;
class ErrorManager;
struct ApplicationState;
enum class eApplicationMode : std::int32_t;
enum class eSynchronizationMode : std::int32_t;
enum class eCommunicationModel : std::int32_t;
namespace detail {
struct ContextAccess;
}  // namespace detail
}  // namespace KrSim
