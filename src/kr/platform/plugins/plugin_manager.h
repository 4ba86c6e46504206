#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kr/platform/array.h"
#include "kr/platform/export.h"

namespace KrPluginSystem {

/// A plug-in whose types are registered.
struct KrLoadedPlugin {
    std::string name;                ///< base name of the file, by which it was loaded
    std::string version;             ///< the plug-in's own
    std::string file;                ///< absolute path
    std::vector<std::string> types;  ///< as the manifest lists them
};

/// Finds and loads plug-in files, "<name>.krp". The manifest of a file is read before any part of the file is loaded;
/// then the file is loaded whole, and its entry function registers its types.
///
/// A file stays in memory until the process ends: unloading withdraws the types only, so no pointer dangles.
///
/// Thread: any. A thread that requests a plug-in that another thread is loading waits for the result. No lock is held
/// while a file is loaded or code of a plug-in runs; that code may load other plug-ins.
/// Ownership: one instance, never destroyed; loaded files stay in memory.
class KR_API KrPluginManager {
public:
    static KrPluginManager& instance();
    KrPluginManager(const KrPluginManager&) = delete;
    KrPluginManager& operator=(const KrPluginManager&) = delete;

    // Plug-ins

    /// Whether the plug-in has been loaded, has registered all its types, and was not unloaded since.
    [[nodiscard]] bool isLoaded(const std::string& plugin) const;

    /// Loads the plug-in unless it is loaded already.
    ///
    /// \param plugin  base name of the file without ".krp"; a name with a folder is refused.
    /// \return        whether the plug-in is loaded now. Each failure logs one warning: the file, the directories
    /// searched, what is wrong and what was expected.
    /// The first file of that name in the search directories counts, even when it is unfit: a plug-in is not silently
    /// replaced by an older copy. Links are followed: a user who may place a link in a search directory may place a
    /// plug-in there. Also false when the plug-in is being loaded already and that load waits for this call, as when a
    /// plug-in requests itself while it registers its types. A static initialiser that throws ends the process.
    bool load(const std::string& plugin);

    /// Withdraws the types of the plug-in. Loading it again registers them again, from the copy in memory.
    ///
    /// \return  whether the plug-in is not loaded now. False, and unchanged, while instances of its types exist.
    bool unload(const std::string& plugin);

    /// The loaded plug-ins in the order of their names.
    [[nodiscard]] Kr::KrArray<KrLoadedPlugin> getLoadedPlugins() const;

    // Search directories

    /// Adds a directory, searched after those added before. It need not exist yet. A relative directory counts from the
    /// current directory of this call. A directory that was added already keeps its place. An empty text, or one with a
    /// zero byte, is refused with a warning.
    void addPluginSearchDir(const std::string& directory);

    /// Removes all added directories. Loaded plug-ins are unaffected.
    void resetPluginSearchDirs();

    /// The added directories as they were given, in order.
    [[nodiscard]] Kr::KrArray<std::string> getAddedPluginsSearchDirs() const;

    /// All searched directories as absolute paths in order: the added ones, then the directory of this library's file
    /// (linked statically: of the program's file).
    [[nodiscard]] Kr::KrArray<std::string> getPluginSearchDirs() const;

private:
    struct State;

    KrPluginManager();
    ~KrPluginManager();

    const std::unique_ptr<State> _state;
};

}  // namespace KrPluginSystem
