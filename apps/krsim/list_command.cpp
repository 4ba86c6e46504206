#include "apps/krsim/list_command.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "apps/krsim/assembly.h"
#include "apps/krsim/crash_report.h"
#include "apps/krsim/failure.h"
#include "apps/krsim/json_writer.h"
#include "apps/krsim/type_catalog.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/platform/clock.h"
#include "kr/platform/plugins/plugin_manager.h"

namespace krsim {
namespace {

using KrSim::KrExtensionFactory;
using KrSim::KrFactoryKey;

/// What each type makes, by its unique id.
using Kinds = std::map<std::string, std::string>;

std::string formatSeconds(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%g s", seconds);
    return text;
}

Kinds getKindsOfLoadedTypes() {
    using eType = KrExtensionFactory::eType;
    Kinds kinds;
    for (const auto& [kind, name] : {std::pair(eType::kObject, "object"), std::pair(eType::kExtension, "extension"),
                                     std::pair(eType::kSimulatorModule, "module")}) {
        for (const auto& key : KrExtensionFactory::getAvailableTypes(kind))
            kinds[key.uuid.toString()] = name;
    }
    return kinds;
}

// What a child process writes last.
constexpr const char* kEnd = "end\n";            // of a list that is whole
constexpr const char* kNotLoaded = "refused\n";  // the log says why

[[noreturn]] void loadAndTell(const std::string& plugin, int descriptor) {
    CrashReport::leaveOut();  // the parent names the plug-in
    std::string text;
    if (KrPluginSystem::KrPluginManager::instance().load(plugin)) {
        for (const auto& [uuid, kind] : getKindsOfLoadedTypes())
            text.append(uuid).append(" ").append(kind).append("\n");
        text.append(kEnd);
    } else {
        text = kNotLoaded;
    }
    const bool isTold = ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::_exit(isTold ? 0 : 1);
}

/// All that is written into the pipe until it is closed, or until then; less than all, then.
std::string readUntil(int descriptor, double endSeconds) {
    constexpr double kMillisecondsPerSecond = 1000.0;
    std::string text;
    std::array<char, 4096> block{};
    for (;;) {
        const double left = endSeconds - Kr::SteadyClock::instance().getSeconds();
        pollfd place{.fd = descriptor, .events = POLLIN, .revents = 0};
        if (left <= 0.0) return text;
        if (::poll(&place, 1, static_cast<int>(std::ceil(left * kMillisecondsPerSecond))) <= 0) continue;
        const ssize_t count = ::read(descriptor, block.data(), block.size());
        if (count > 0) text.append(block.data(), static_cast<std::size_t>(count));
        if (count == 0 || (count < 0 && errno != EINTR)) return text;
    }
}

/// Empty for a child that has done its work.
std::string describeEnd(int status, const std::string& text) {
    if (WIFSIGNALED(status)) return std::string("ends the process that loads it: ") + strsignal(WTERMSIG(status));
    if (text.ends_with(kEnd)) return {};
    if (text == kNotLoaded) return "cannot be loaded, the warning says why";
    return "ends the process that loads it: exit(" + std::to_string(WEXITSTATUS(status)) + ")";
}

/// \param failure  set when there are none.
Kinds getKindsOf(const std::string& plugin, double limitSeconds, std::string& failure) {
    int ends[2];
    if (::pipe(ends) != 0) throw Failure(eExitCode::kFailed, std::string("no pipe: ") + std::strerror(errno));
    std::fflush(nullptr);  // else the child would have it, too
    const pid_t child = ::fork();
    if (child < 0) throw Failure(eExitCode::kFailed, std::string("no child process: ") + std::strerror(errno));
    if (child == 0) loadAndTell(plugin, ends[1]);
    ::close(ends[1]);
    const double endSeconds = Kr::SteadyClock::instance().getSeconds() + limitSeconds;
    const std::string text = readUntil(ends[0], endSeconds);
    ::close(ends[0]);
    const bool isTold = text.ends_with(kEnd) || text == kNotLoaded;
    const bool isLate = !isTold && Kr::SteadyClock::instance().getSeconds() >= endSeconds;
    if (isLate) ::kill(child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    failure = isLate ? "is skipped: it takes more than " + formatSeconds(limitSeconds) + " to load"
                     : describeEnd(status, text);
    Kinds kinds;
    if (!failure.empty()) return kinds;
    std::istringstream lines(text);
    for (std::string uuid, kind; lines >> uuid >> kind;)
        kinds[uuid] = kind;
    return kinds;
}

std::string describe(const KrFactoryKey& key) {
    return key.toString() + (key.plugin.empty() ? " of the library" : " of plug-in " + key.plugin);
}

const std::string& nameKind(const KrFactoryKey& key, const Kinds& kinds) {
    static const std::string kMissing = "missing";
    const auto kind = kinds.find(key.uuid.toString());
    return kind != kinds.end() ? kind->second : kMissing;
}

void writeTypes(JsonWriter& writer, const std::vector<KrFactoryKey>& types, const Kinds& kinds) {
    writer.Key("types");
    writer.StartArray();
    for (const auto& key : types) {
        writer.StartObject();
        writeText(writer, "category", key.category);
        writeText(writer, "name", key.name);
        writeText(writer, "id", key.uuid.toString());
        writeText(writer, "kind", nameKind(key, kinds));
        writer.EndObject();
    }
    writer.EndArray();
}

/// The library as the last one, without a name.
void printJson(const TypeCatalog& catalog, double limitSeconds) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    writer.Key("plugins");
    writer.StartArray();
    for (const auto& plugin : catalog.getPlugins()) {
        std::string failure = plugin.unfit;
        const Kinds kinds = failure.empty() ? getKindsOf(plugin.name, limitSeconds, failure) : Kinds();
        writer.StartObject();
        writeText(writer, "name", plugin.name);
        writeText(writer, "version", plugin.version);
        writeText(writer, "file", plugin.path);
        writeText(writer, "problem", failure);
        writeTypes(writer, failure.empty() ? plugin.types : std::vector<KrFactoryKey>(), kinds);
        writer.EndObject();
    }
    writer.EndArray();
    writer.Key("library");
    writer.StartObject();
    writeTypes(writer, catalog.getBuiltInTypes(), getKindsOfLoadedTypes());
    writer.EndObject();
    writer.EndObject();
    std::printf("%s\n", buffer.GetString());
}

void printTypes(const std::vector<KrFactoryKey>& types, const Kinds& kinds) {
    std::size_t width = 0;
    for (const auto& key : types)
        width = std::max(width, key.category.size() + 1 + key.name.size());
    for (const auto& key : types) {
        std::printf("  %-9s  %-*s  %s\n", nameKind(key, kinds).c_str(), static_cast<int>(width),
                    (key.category + "." + key.name).c_str(), key.uuid.toString().c_str());
    }
}

/// On standard error: only one of them can be made.
void warnOfSharedIds(const TypeCatalog& catalog) {
    std::map<std::string, const KrFactoryKey*> known;
    const auto warn = [&](const KrFactoryKey& key) {
        const auto [other, isNew] = known.emplace(key.uuid.toString(), &key);
        if (isNew) return;
        std::fprintf(
            stderr,
            "krsim: warning: %s and %s have one unique id, so that only one of them can be loaded: give one a new id\n",
            describe(*other->second).c_str(), describe(key).c_str());
    };
    for (const auto& key : catalog.getBuiltInTypes())
        warn(key);
    for (const auto& plugin : catalog.getPlugins()) {
        for (const auto& key : plugin.types)
            warn(key);
    }
}

}  // namespace

std::string tryToLoad(const std::string& plugin, double limitSeconds) {
    std::string failure;
    static_cast<void>(getKindsOf(plugin, limitSeconds, failure));
    return failure;
}

void listTypes(const ListPlan& plan) {
    addPluginDirectories(plan.pluginDirectories);
    const TypeCatalog catalog(getPluginDirectories());
    if (plan.printsJson) {
        printJson(catalog, plan.limitSeconds);
        return warnOfSharedIds(catalog);
    }
    for (const auto& plugin : catalog.getPlugins()) {
        std::string failure = plugin.unfit;
        const Kinds kinds = failure.empty() ? getKindsOf(plugin.name, plan.limitSeconds, failure) : Kinds();
        std::printf("%s %s (%s)%s\n", plugin.name.c_str(), plugin.version.c_str(), plugin.path.c_str(),
                    failure.empty() ? "" : (" " + failure).c_str());
        if (failure.empty()) printTypes(plugin.types, kinds);
    }
    std::printf("Built into the library\n");
    printTypes(catalog.getBuiltInTypes(), getKindsOfLoadedTypes());
    warnOfSharedIds(catalog);
}

}  // namespace krsim
