#include "kr/platform/runtime_error.h"

namespace KrSim {

KrRuntimeError::KrRuntimeError(const std::string& message) : std::runtime_error(message) {}

KrRuntimeError::KrRuntimeError(const char* message) : std::runtime_error(message ? message : "") {}

KrRuntimeError::~KrRuntimeError() = default;

}  // namespace KrSim
