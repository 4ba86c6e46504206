#include "kr/platform/plugins/plugin_manager.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "kr/platform/guard.h"
#include "kr/platform/log.h"
#include "kr/platform/plugins/internal/plugin_attempts.h"
#include "kr/platform/plugins/internal/plugin_file.h"
#include "kr/platform/plugins/plugin_manifest.h"
#include "kr/platform/plugins/plugin_manifest_reader.h"
#include "kr/platform/utf8.h"

namespace KrPluginSystem {
namespace {

using detail::PluginAttempts;
using Directories = Kr::KrArray<std::string>;

constexpr Kr::GuardTexts kRegister{
    Kr::eLogLevel::kWarn, "KrPluginManager: Cannot load plug-in %s: it threw while registering [%s]\n",
    "KrPluginManager: Cannot load plug-in %s: it threw while registering\n", "registration of types"};
constexpr Kr::GuardTexts kUnregister{
    Kr::eLogLevel::kWarn, "KrPluginManager: fatal error in '%s' kr_plugin_unregister_v1() [%s]\n",
    "KrPluginManager: unhandled exception in '%s' kr_plugin_unregister_v1()\n", "withdrawal of types"};

constexpr Kr::GuardTexts kMap{Kr::eLogLevel::kWarn, "KrPluginManager: fatal error in '%s' static initialisers [%s]\n",
                              "KrPluginManager: unhandled exception in '%s' static initialisers\n",
                              "static initialisers"};

/// A plug-in that is in memory.
struct Plugin {
    KrLoadedPlugin description;
    detail::PluginEntries entries;
    bool isLoaded;
};

/// The result of a call and the line that it logs after the lock was released; an empty text logs nothing.
struct Outcome {
    bool answer;
    Kr::eLogLevel level{Kr::eLogLevel::kWarn};
    std::string text{};
};

/// Text from content, fit for a log line: it may be of any length and hold anything.
std::string toShown(std::string_view text) {
    constexpr std::size_t kShownBytes = 80;
    std::string shown(text.substr(0, Kr::getUtf8PrefixLength(text, kShownBytes)));
    std::replace_if(
        shown.begin(), shown.end(),
        [](char character) {
            return !detail::isManifestLine({&character, 1});
        },
        '?');
    return shown.size() < text.size() ? shown + "..." : shown;
}

std::string quoteAll(const Directories& directories) {
    std::string text;
    for (const std::string& directory : directories)
        text += (text.empty() ? "'" : ", '") + directory + "'";
    return text;
}

/// The first file of this name, even when it is unreadable or a broken link: a later file would not be the intended
/// one.
std::optional<std::string> findFile(const std::string& plugin, const Directories& directories) {
    for (const std::string& directory : directories) {
        const std::filesystem::path path = std::filesystem::path(directory) / (plugin + ".krp");
        std::error_code error;
        if (std::filesystem::symlink_status(path, error).type() != std::filesystem::file_type::not_found) {
            return path.string();
        }
    }
    return {};
}

/// Written to follow the name of the file; empty when the manifest is that of the plug-in and of a build that fits.
std::string whyUnfit(const KrPluginManifest& manifest, const std::string& plugin) {
    if (!isPluginCompatible(manifest)) {
        return "was built for library " + manifest.libraryVersion + " (" + manifest.build + "), and this is " +
               getExpectedPluginBuild() + "; build it again with this library";
    }
    // Content that it creates would name a missing file.
    if (manifest.name != plugin) return "holds plug-in '" + manifest.name + "': rename it to " + manifest.name + ".krp";
    return {};
}

/// Reads the manifest, then loads the file.
Kr::FileResultOf<Plugin> mapFile(const std::string& plugin, const Directories& directories,
                                 PluginAttempts::Scope& attempt) {
    using eFailure = Kr::FileResult::eFailure;
    const std::string searched = "; searched: " + quoteAll(directories);
    const std::optional<std::string> file = findFile(plugin, directories);
    if (!file)
        return Kr::FileResult::failed(eFailure::kMissing, {}, "no directory has a file '" + plugin + ".krp'", searched);
    const auto refuse = [&](Kr::FileResult result) {
        result.reason += searched;
        return result;
    };
    const auto manifest = readPluginManifest(*file);
    if (!manifest) return refuse(manifest);
    if (const auto unfit = whyUnfit(*manifest, plugin); !unfit.empty())
        return refuse(Kr::FileResult::failed(eFailure::kUnsuitable, *file, "'" + *file + "' ", unfit));
    attempt.setMapping(true);
    // Its static initialisers end the process when they throw: a handler of crashes then names the file.
    const Kr::GuardedCall guarded(kMap, file->c_str());
    const auto entries = detail::mapPluginFile(*file);
    attempt.setMapping(false);
    if (!entries) return refuse(entries);
    return Plugin{{plugin, manifest->version, *file, manifest->types}, *entries, false};
}

enum class Withdrawal { kDone, kRefused, kThrown };

Withdrawal unregisterTypes(const Plugin& plugin) {
    bool isWithdrawn = false;
    const bool hasReturned = Kr::callGuarded(
        kUnregister, [&] { return plugin.description.name; }, [&] { isWithdrawn = plugin.entries.unregisterTypes(); },
        plugin.description.file.c_str());
    if (!hasReturned) return Withdrawal::kThrown;
    return isWithdrawn ? Withdrawal::kDone : Withdrawal::kRefused;
}

bool registerTypes(const Plugin& plugin) {
    const auto nameOf = [&] { return "'" + plugin.description.name + "' ('" + plugin.description.file + "')"; };
    if (Kr::callGuarded(kRegister, nameOf, plugin.entries.registerTypes, plugin.description.file.c_str())) return true;
    static_cast<void>(unregisterTypes(plugin));  // what it had registered before it threw
    return false;
}

}  // namespace

struct KrPluginManager::State {
    struct Directory {
        std::string given;
        std::string absolute;
    };

    const std::string builtInDirectory{detail::getLibraryDirectory()};
    PluginAttempts attempts;
    mutable std::mutex mutex;  // guards all that follows
    std::map<std::string, Plugin> plugins;
    std::vector<Directory> directories;

    [[nodiscard]] Directories getSearchDirectories() const {
        const std::lock_guard lock(mutex);
        Directories all;
        for (const Directory& each : directories)
            all.append(each.absolute);
        all.append(builtInDirectory);
        return all;
    }

    [[nodiscard]] std::optional<Plugin> find(const std::string& plugin) const {
        const std::lock_guard lock(mutex);
        const auto position = plugins.find(plugin);
        return position != plugins.end() ? std::optional(position->second) : std::nullopt;
    }

    /// Of a plug-in that is in memory, whose types are not registered.
    void store(const Plugin& plugin) {
        const std::lock_guard lock(mutex);
        plugins.insert_or_assign(plugin.description.name, plugin);
    }
    /// Of a stored one.
    void setLoaded(const std::string& plugin, bool isLoaded) noexcept {
        const std::lock_guard lock(mutex);
        plugins.find(plugin)->second.isLoaded = isLoaded;
    }

    Outcome load(const std::string& name) {
        if (!detail::isPluginName(name)) {
            return {.answer = false, .text = "the name is not that of a file without its folder and \".krp\""};
        }
        PluginAttempts::Scope attempt(attempts, name, PluginAttempts::eKind::kLoad);
        if (!attempt.isMine()) return {.answer = attempt.hasOtherSucceeded(), .text = attempt.getRefusal()};

        std::optional<Plugin> plugin = find(name);
        if (plugin && plugin->isLoaded) {
            attempt.setSucceeded();
            return {.answer = true};
        }
        const bool isNew = !plugin;
        if (isNew) {
            auto mapped = mapFile(name, getSearchDirectories(), attempt);
            if (!mapped) return {.answer = false, .text = mapped.toString()};
            plugin = std::move(*mapped);
            store(*plugin);
        }
        // Nothing may fail once the types are registered, or the manager would not know of them.
        const KrLoadedPlugin& loaded = plugin->description;
        Outcome success{
            .answer = true,
            .level = Kr::eLogLevel::kDebug,
            .text = loaded.version + " from '" + loaded.file + "'" + (isNew ? "" : ", which is in memory already")};
        if (!registerTypes(*plugin)) return {.answer = false};  // the guard has said so
        setLoaded(name, true);
        attempt.setSucceeded();
        return success;
    }

    Outcome unload(const std::string& name) {
        PluginAttempts::Scope attempt(attempts, name, PluginAttempts::eKind::kUnload);
        if (!attempt.isMine()) return {.answer = attempt.hasOtherSucceeded(), .text = attempt.getRefusal()};

        const std::optional<Plugin> plugin = find(name);
        if (plugin && plugin->isLoaded) {
            switch (unregisterTypes(*plugin)) {
                case Withdrawal::kThrown:
                    return {.answer = false};  // the guard has said so
                case Withdrawal::kRefused:
                    return {.answer = false, .level = Kr::eLogLevel::kDebug, .text = "instances of its types live"};
                case Withdrawal::kDone:
                    setLoaded(name, false);
            }
        }
        attempt.setSucceeded();
        return {.answer = true};
    }
};

KrPluginManager& KrPluginManager::instance() {
    // Never destroyed: static objects may ask for plug-ins while the process ends.
    static auto& manager = *new KrPluginManager;
    return manager;
}

KrPluginManager::KrPluginManager() : _state(std::make_unique<State>()) {}

KrPluginManager::~KrPluginManager() = default;

bool KrPluginManager::isLoaded(const std::string& plugin) const {
    const std::lock_guard lock(_state->mutex);
    const auto position = _state->plugins.find(plugin);
    return position != _state->plugins.end() && position->second.isLoaded;
}

namespace {

/// What is done stays done where there is no memory for the line.
void logOutcome(const Outcome& outcome, const char* format, const std::string& plugin) {
    if (outcome.text.empty() || outcome.level > Kr::LogGetLevel()) return;
    try {
        Kr::logMessage(outcome.level, format, toShown(plugin).c_str(), outcome.text.c_str());
    } catch (const std::bad_alloc&) {
        Kr::logMessage(outcome.level, format, "", outcome.text.c_str());
    }
}

}  // namespace

bool KrPluginManager::load(const std::string& plugin) {
    if (isLoaded(plugin)) return true;
    const Outcome outcome = _state->load(plugin);
    logOutcome(outcome,
               outcome.answer ? "KrPluginManager: Loaded plug-in '%s' %s\n"
                              : "KrPluginManager: Cannot load plug-in '%s': %s\n",
               plugin);
    return outcome.answer;
}

bool KrPluginManager::unload(const std::string& plugin) {
    const Outcome outcome = _state->unload(plugin);
    logOutcome(outcome, "KrPluginManager: Cannot unload plug-in '%s': %s\n", plugin);
    return outcome.answer;
}

Kr::KrArray<KrLoadedPlugin> KrPluginManager::getLoadedPlugins() const {
    const std::lock_guard lock(_state->mutex);
    Kr::KrArray<KrLoadedPlugin> loaded;
    for (const auto& [name, plugin] : _state->plugins) {
        if (plugin.isLoaded) loaded.append(plugin.description);
    }
    return loaded;
}

void KrPluginManager::addPluginSearchDir(const std::string& directory) {
    if (directory.empty() || directory.find('\0') != std::string::npos) {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrPluginManager: Cannot add plug-in directory '%s': it is empty or has a zero byte in it\n",
                       toShown(directory).c_str());
        return;
    }
    std::error_code error;
    std::string absolute = std::filesystem::absolute(directory, error).string();
    if (error) absolute = directory;
    const std::lock_guard lock(_state->mutex);
    auto& directories = _state->directories;
    const bool isKnown = std::any_of(directories.begin(), directories.end(),
                                     [&](const State::Directory& each) { return each.given == directory; });
    if (!isKnown) directories.push_back({directory, std::move(absolute)});
}

void KrPluginManager::resetPluginSearchDirs() {
    const std::lock_guard lock(_state->mutex);
    _state->directories.clear();
}

Kr::KrArray<std::string> KrPluginManager::getAddedPluginsSearchDirs() const {
    const std::lock_guard lock(_state->mutex);
    Kr::KrArray<std::string> added;
    for (const State::Directory& directory : _state->directories)
        added.append(directory.given);
    return added;
}

Kr::KrArray<std::string> KrPluginManager::getPluginSearchDirs() const {
    return _state->getSearchDirectories();
}

}  // namespace KrPluginSystem
