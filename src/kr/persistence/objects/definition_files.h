#pragma once

#include <span>
#include <string>
#include <vector>

#include "kr/persistence/objects/object_file.h"
#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrPersistence {

/// Loads the files of definitions that loaded instances wait for, and those that these wait for in turn. The instances
/// follow their definitions at once.
///
///     const auto town = KrPersistence::loadObjects("town.kro");
///     std::vector<Kr::FileResult> refused;
///     const auto definitions = KrPersistence::loadDefinitions({{"town.kro"}}, refused);
///
/// \param loadedFiles  what was loaded already, and is not loaded a second time.
/// \param refused      gets the failure of each file that is refused, which nothing else reports; what waits for it
///                     stays as it was saved.
/// \return the content of the files. Instances follow it while it lives.
/// Thread: that of the content. Never throws.
[[nodiscard]] KR_API std::vector<LoadedObjects> loadDefinitions(std::span<const std::string> loadedFiles,
                                                                std::vector<Kr::FileResult>& refused);

}  // namespace KrPersistence
