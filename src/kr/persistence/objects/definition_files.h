#pragma once

#include <span>
#include <string>
#include <vector>

#include "kr/persistence/objects/object_file.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Loads the files of definitions that loaded instances wait for, and those that these wait for in turn. The instances
/// follow their definitions at once.
///
///     const auto town = KrPersistence::loadObjects("town.kro", error);
///     std::vector<std::string> problems;
///     const auto definitions = KrPersistence::loadDefinitions({{"town.kro"}}, problems);
///
/// \param loadedFiles  what was loaded already, and is not loaded a second time.
/// \param problems     gets a text for each file that is refused, which nothing else reports; what waits for it stays
/// as it
///                     was saved.
/// \return the content of the files. Instances follow it while it lives.
/// Thread: that of the content. Never throws.
[[nodiscard]] KR_API std::vector<LoadedObjects> loadDefinitions(std::span<const std::string> loadedFiles,
                                                                std::vector<std::string>& problems);

}  // namespace KrPersistence
