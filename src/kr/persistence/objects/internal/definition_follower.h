#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kr/extension/fwd.h"

namespace KrPersistence::detail {

/// What an instance without its definition waits for, with file and content ID in the file, for people.
[[nodiscard]] std::string describeMissingDefinition(const KrSim::KrObject& instance);

/// Brings all loaded instances in line whose definitions are there now; those inside a definition before the
/// instances of that. The others go on waiting for theirs.
/// \param loadedCount  extensions that were just loaded: instances that multiply one another make at most a multiple.
void followDefinitions(std::size_t loadedCount, std::vector<std::string>& problems);

}  // namespace KrPersistence::detail
