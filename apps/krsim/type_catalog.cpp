#include "apps/krsim/type_catalog.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "apps/krsim/failure.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/platform/nearest_name.h"
#include "kr/platform/plugins/plugin_manifest_reader.h"

namespace krsim {
namespace {

using KrSim::KrFactoryKey;

std::string typeNameOf(const KrFactoryKey& key) {
    return key.category + "." + key.name;
}

/// A line of a manifest, "Category.Name {unique id}"; plug-ins that write theirs by hand may leave the id out.
KrFactoryKey parseType(const std::string& line, const std::string& plugin) {
    KrSim::KrUuid uuid;
    std::size_t end = line.size();
    const auto brace = line.rfind(" {");
    if (brace != std::string::npos && KrSim::KrUuid::parse(std::string_view(line).substr(brace + 1), uuid)) end = brace;
    const auto dot = std::min(line.find('.'), end);
    const auto nameAt = std::min(dot + 1, end);
    return {uuid, line.substr(0, dot), line.substr(nameAt, end - nameAt), plugin};
}

PluginFile readPlugin(const std::filesystem::path& path) {
    PluginFile plugin{.path = path.string(), .name = path.stem().string(), .version = {}, .unfit = {}, .types = {}};
    const auto manifest = KrPluginSystem::readPluginManifest(plugin.path);
    if (!manifest) {
        plugin.unfit = manifest.reason;
        return plugin;
    }
    plugin.version = manifest->version;
    if (!KrPluginSystem::isPluginCompatible(*manifest)) {
        plugin.unfit = "was built for library " + manifest->libraryVersion + " (" + manifest->build +
                       "), and this is " + KrPluginSystem::getExpectedPluginBuild();
    } else if (manifest->name != plugin.name) {
        plugin.unfit = "holds plug-in '" + manifest->name + "': rename it to " + manifest->name + ".krp";
    } else {
        for (const auto& line : manifest->types)
            plugin.types.push_back(parseType(line, plugin.name).completed());
    }
    return plugin;
}

std::string toText(const KrFactoryKey& key) {
    return key.toString() + (key.plugin.empty() ? " of the library" : " of " + key.plugin);
}

}  // namespace

std::vector<std::string> findPluginFiles(const std::string& directory) {
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator each(directory, error), end; !error && each != end;
         each.increment(error)) {
        if (each->path().extension() == ".krp") files.push_back(each->path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

TypeCatalog::TypeCatalog(const std::vector<std::string>& directories) {
    using eType = KrSim::KrExtensionFactory::eType;
    for (const auto kind : {eType::kObject, eType::kExtension, eType::kSimulatorModule}) {
        for (const auto& key : KrSim::KrExtensionFactory::getAvailableTypes(kind)) {
            if (key.plugin.empty()) _builtIn.push_back(key);
        }
    }
    for (const auto& directory : directories) {
        for (const auto& file : findPluginFiles(directory)) {
            const std::filesystem::path path(file);
            const bool isHidden = std::any_of(_plugins.begin(), _plugins.end(),
                                              [&](const PluginFile& each) { return each.name == path.stem(); });
            if (!isHidden) _plugins.push_back(readPlugin(path));
        }
    }
}

std::vector<const KrFactoryKey*> TypeCatalog::_getAll() const {
    std::vector<const KrFactoryKey*> all;
    for (const auto& plugin : _plugins) {
        for (const auto& key : plugin.types)
            all.push_back(&key);
    }
    for (const auto& key : _builtIn)
        all.push_back(&key);
    return all;
}

const KrFactoryKey& TypeCatalog::find(const std::string& text) const {
    const auto all = _getAll();
    // The exact forms first: a display name may look like the type name of another type.
    const KrFactoryKey asked = parseType(text, {});
    const KrSim::KrUuid uuid = asked.uuid.isNull() ? KrSim::KrUuid(text) : asked.uuid;
    std::vector<const KrFactoryKey*> meant;
    const auto collect = [&](const auto& isMeant) {
        if (meant.empty()) std::copy_if(all.begin(), all.end(), std::back_inserter(meant), isMeant);
    };
    if (!uuid.isNull()) collect([&](const KrFactoryKey* key) { return key->uuid == uuid; });
    if (asked.uuid.isNull()) collect([&](const KrFactoryKey* key) { return typeNameOf(*key) == text; });
    collect([&](const KrFactoryKey* key) { return key->name == text; });
    if (meant.size() == 1) return *meant.front();
    if (meant.empty()) throw Failure(eExitCode::kUsage, "there is no type '" + text + "'" + _describeNearest(text));

    std::string which;
    for (const auto* key : meant)
        which += "\n  " + toText(*key);
    throw Failure(eExitCode::kUsage, "'" + text + "' may be any of these, say it with the unique id:" + which);
}

std::string TypeCatalog::_describeNearest(const std::string& text) const {
    constexpr std::size_t kShown = 3;
    std::vector<std::pair<std::size_t, std::string>> nearest;
    for (const auto* key : _getAll()) {
        const auto typeName = typeNameOf(*key);
        nearest.emplace_back(std::min(Kr::countEdits(text, typeName), Kr::countEdits(text, key->name)), typeName);
    }
    std::stable_sort(nearest.begin(), nearest.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    std::string description = "; the nearest are ";
    for (std::size_t i = 0; i < std::min(kShown, nearest.size()); ++i)
        description += (i > 0 ? ", '" : "'") + nearest[i].second + "'";
    description += " ('krsim list' shows all)";
    for (const auto& plugin : _plugins) {
        if (!plugin.unfit.empty()) description += "\n  not searched: '" + plugin.path + "' " + plugin.unfit;
    }
    return description;
}

}  // namespace krsim
