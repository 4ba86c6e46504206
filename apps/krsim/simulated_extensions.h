#pragma once

#include <vector>

#include "kr/application/fwd.h"

namespace krsim {

/// The content of the application, then its modules, each in its order. Borrowed.
[[nodiscard]] std::vector<KrSim::KrExtension*> getSimulatedExtensions(const KrSim::KrApplication& application);

}  // namespace krsim
