#pragma once

#include <string>
#include <vector>

#include "kr/extension/factory_key.h"

namespace krsim {

/// A plug-in file in one of the directories.
struct PluginFile {
    std::string path;
    std::string name;     ///< base name of the file
    std::string version;  ///< the plug-in's own
    std::string unfit;    ///< why it cannot be used, to follow the name of the file; empty for a good one
    std::vector<KrSim::KrFactoryKey> types;
};

/// The available types: those built into the library, and those listed by the manifests of plug-ins. No plug-in is
/// loaded.
class TypeCatalog {
public:
    /// \param directories  in the order of the search: of several files with one name the first counts.
    explicit TypeCatalog(const std::vector<std::string>& directories);

    /// The one type with this type name ("Content.Scene"), display name ("Scene"), unique id, or name in the form of
    /// KrFactoryKey::toString. Throws a Failure that lists the nearest types, or all matching ones.
    [[nodiscard]] const KrSim::KrFactoryKey& find(const std::string& text) const;

    [[nodiscard]] const std::vector<PluginFile>& getPlugins() const noexcept { return _plugins; }
    [[nodiscard]] const std::vector<KrSim::KrFactoryKey>& getBuiltInTypes() const noexcept { return _builtIn; }

private:
    [[nodiscard]] std::vector<const KrSim::KrFactoryKey*> _getAll() const;
    [[nodiscard]] std::string _describeNearest(const std::string& text) const;

    std::vector<KrSim::KrFactoryKey> _builtIn;
    std::vector<PluginFile> _plugins;
};

/// The plug-in files in a directory, in the order of their names. Empty when it cannot be read, too.
[[nodiscard]] std::vector<std::string> findPluginFiles(const std::string& directory);

}  // namespace krsim
