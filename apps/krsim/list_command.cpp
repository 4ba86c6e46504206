#include "apps/krsim/list_command.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "apps/krsim/assembly.h"
#include "apps/krsim/failure.h"
#include "apps/krsim/type_catalog.h"
#include "kr/extension/extension_factory.h"
#include "kr/platform/plugin_manager.h"

namespace krsim {
namespace {

using KrSim::KrExtensionFactory;
using KrSim::KrFactoryKey;

/// What each type makes, by its unique id.
using Kinds = std::map<std::string, std::string>;

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

[[noreturn]] void loadAndTell(const std::string& plugin, int descriptor) {
    if (!KrPluginSystem::KrPluginManager::instance().load(plugin)) ::_exit(1);
    std::string text;
    for (const auto& [uuid, kind] : getKindsOfLoadedTypes())
        text.append(uuid).append(" ").append(kind).append("\n");
    const bool isTold = ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::_exit(isTold ? 0 : 1);
}

std::string readAll(int descriptor) {
    std::string text;
    std::array<char, 4096> block{};
    for (;;) {
        const ssize_t count = ::read(descriptor, block.data(), block.size());
        if (count > 0) text.append(block.data(), static_cast<std::size_t>(count));
        if (count == 0 || (count < 0 && errno != EINTR)) return text;
    }
}

/// \param failure  set when there are none.
Kinds getKindsOf(const std::string& plugin, std::string& failure) {
    int ends[2];
    if (::pipe(ends) != 0) throw Failure(eExitCode::kFailed, std::string("no pipe: ") + std::strerror(errno));
    std::fflush(nullptr);  // else the child would have it, too
    const pid_t child = ::fork();
    if (child < 0) throw Failure(eExitCode::kFailed, std::string("no child process: ") + std::strerror(errno));
    if (child == 0) loadAndTell(plugin, ends[1]);
    ::close(ends[1]);
    std::istringstream lines(readAll(ends[0]));
    ::close(ends[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        failure = std::string("ends the process that loads it: ") + strsignal(WTERMSIG(status));
    } else if (WEXITSTATUS(status) != 0) {
        failure = "cannot be loaded, the warning says why";
    }
    Kinds kinds;
    for (std::string uuid, kind; lines >> uuid >> kind;)
        kinds[uuid] = kind;
    return kinds;
}

void printTypes(const std::vector<KrFactoryKey>& types, const Kinds& kinds) {
    std::size_t width = 0;
    for (const auto& key : types)
        width = std::max(width, key.category.size() + 1 + key.name.size());
    for (const auto& key : types) {
        const auto uuid = key.uuid.toString();
        const auto kind = kinds.find(uuid);
        std::printf("  %-9s  %-*s  %s\n", kind != kinds.end() ? kind->second.c_str() : "missing",
                    static_cast<int>(width), (key.category + "." + key.name).c_str(), uuid.c_str());
    }
}

}  // namespace

void listTypes(const ListPlan& plan) {
    addPluginDirectories(plan.pluginDirectories);
    const TypeCatalog catalog(getPluginDirectories());
    for (const auto& plugin : catalog.getPlugins()) {
        std::string failure = plugin.unfit;
        const Kinds kinds = failure.empty() ? getKindsOf(plugin.name, failure) : Kinds();
        std::printf("%s %s (%s)%s\n", plugin.name.c_str(), plugin.version.c_str(), plugin.path.c_str(),
                    failure.empty() ? "" : (" " + failure).c_str());
        if (failure.empty()) printTypes(plugin.types, kinds);
    }
    std::printf("Built into the library\n");
    printTypes(catalog.getBuiltInTypes(), getKindsOfLoadedTypes());
}

}  // namespace krsim
