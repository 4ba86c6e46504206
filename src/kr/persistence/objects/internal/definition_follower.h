#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kr/extension/fwd.h"

namespace KrPersistence::detail {

/// The missing definition of an instance, with file and content ID in the file, for people.
[[nodiscard]] std::string describeMissingDefinition(const KrSim::KrObject& instance);

/// Updates all loaded instances whose definitions exist now; those inside a definition before the instances of that
/// definition. The others keep waiting.
/// \param loadedCount  extensions that were just loaded: instances that multiply one another make at most a multiple.
void followDefinitions(std::size_t loadedCount, std::vector<std::string>& problems);

}  // namespace KrPersistence::detail
