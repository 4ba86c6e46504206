#pragma once

#include <span>
#include <string>
#include <vector>

#include "kr/persistence/objects/object_file.h"
#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrPersistence {

/// Loads the files of definitions that loaded instances wait for, and those that these wait for in turn. The instances
/// follow their definitions immediately.
///
///     const auto town = KrPersistence::loadObjects("town.kro");
///     std::vector<Kr::FileResult> refused;
///     const auto definitions = KrPersistence::loadDefinitions({{"town.kro"}}, refused);
///
/// \param loadedFiles  files loaded already, which are not loaded a second time.
/// \param refused      receives the failure of each refused file, which is not reported elsewhere; instances that wait
///                     for it keep their saved state.
/// \return the content of the files. Instances follow it while it is alive.
/// Thread: application. Throws nothing but std::bad_alloc; content that was loaded until then is destroyed.
[[nodiscard]] KR_API std::vector<LoadedObjects> loadDefinitions(std::span<const std::string> loadedFiles,
                                                                std::vector<Kr::FileResult>& refused);

}  // namespace KrPersistence
