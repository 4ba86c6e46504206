#pragma once

#include <string>

#include "kr/platform/file_result.h"

namespace KrPluginSystem::detail {

/// The entry functions of a plug-in that is in memory; good until the process ends.
struct PluginEntries {
    void (*registerTypes)();
    bool (*unregisterTypes)();
};

/// Loads the file with all its symbols bound at once and visible to no other file. It stays in memory for good.
/// Runs the static initialisers of the plug-in.
///
/// \param path  absolute.
[[nodiscard]] Kr::FileResultOf<PluginEntries> mapPluginFile(const std::string& path);

/// Absolute path of the directory in which the file with this code lies.
[[nodiscard]] std::string getLibraryDirectory();

}  // namespace KrPluginSystem::detail
