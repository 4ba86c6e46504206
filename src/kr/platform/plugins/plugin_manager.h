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

/// Finds and loads plug-in files, "<name>.krp". The manifest of a file is read before anything of it is loaded; then
/// the file is loaded whole, and its entry function registers its types.
///
/// A file stays in memory until the process ends: unloading withdraws the types only, so that no pointer into the file
/// can dangle.
///
/// Thread: all operations on any thread. A thread that asks for a plug-in that another one is loading waits for the
/// result. Nothing is locked while a file is loaded or code of a plug-in runs; that code may load other plug-ins.
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
    /// \param plugin  base name of the file without ".krp"; a name with a folder in it is refused.
    /// \return        whether the plug-in is loaded now. Each failure logs one warning that says which file and which
    ///                directories were meant, what is wrong and what was expected.
    /// The first file of that name in the search directories counts, even when it turns out to be unfit: a plug-in is
    /// not silently replaced by an older copy. Links are followed: a user who may place one in a search directory may
    /// place a plug-in there. False, too, where the plug-in is being loaded already and that waits for this call, as
    /// when a plug-in asks for itself while it registers its types. A static initialiser of the file that throws ends
    /// the process.
    bool load(const std::string& plugin);

    /// Withdraws the types of the plug-in. Loading it again registers them again, from the copy in memory.
    ///
    /// \return  whether the plug-in is not loaded now. False when instances of its types live: it stays as it is.
    bool unload(const std::string& plugin);

    /// The loaded plug-ins in the order of their names.
    [[nodiscard]] Kr::KrArray<KrLoadedPlugin> getLoadedPlugins() const;

    // Search directories

    /// Adds a directory, to be searched after those added before. It need not exist yet. A relative one counts from the
    /// current directory of this moment. One that was added already keeps its place; an empty text, or one with a
    /// zero byte in it, is refused with a warning.
    void addPluginSearchDir(const std::string& directory);

    /// Removes all added directories. Loaded plug-ins stay.
    void resetPluginSearchDirs();

    /// The added directories as they were given, in order.
    [[nodiscard]] Kr::KrArray<std::string> getAddedPluginsSearchDirs() const;

    /// All that is searched, as absolute paths in order: the added directories, then the one in which the file of this
    /// library lies (linked statically: the file of the program).
    [[nodiscard]] Kr::KrArray<std::string> getPluginSearchDirs() const;

private:
    struct State;

    KrPluginManager();
    ~KrPluginManager();

    const std::unique_ptr<State> _state;
};

}  // namespace KrPluginSystem
