#pragma once

#include <string>

#include "kr/platform/file_result.h"

namespace KrPluginSystem::detail {

/// The entry functions of a plug-in that is in memory; good until the process ends.
struct PluginEntries {
    void (*registerTypes)();
    bool (*unregisterTypes)();
};

/// Loads the file, binds all its symbols immediately, and hides them from other files. It is never unloaded.
/// Runs the static initialisers of the plug-in.
///
/// \param path  absolute.
[[nodiscard]] Kr::FileResultOf<PluginEntries> mapPluginFile(const std::string& path);

/// Absolute path of the directory in which the file with this code lies.
[[nodiscard]] std::string getLibraryDirectory();

}  // namespace KrPluginSystem::detail
