#include "apps/krsim/assembly.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "apps/krsim/failure.h"
#include "kr/application/connections/connection_container.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/platform/plugins/plugin_manager.h"

namespace krsim {
namespace {

using KrPluginSystem::KrPluginManager;
using KrSim::KrExtensionFactory;
using KrSim::KrFactoryKey;

using Extension = Kr::KrSmartPtr<KrSim::KrExtension>;

/// Loads the plug-in first, so that its failure is not reported as one of the type.
Extension make(const KrFactoryKey& key) {
    if (!key.plugin.empty() && !KrPluginManager::instance().load(key.plugin)) {
        throw Failure(eExitCode::kMissingPlugin,
                      "plug-in '" + key.plugin + "' cannot be loaded, the warning before this line says why");
    }
    auto made = KrExtensionFactory::create(key);
    if (made) return made;
    throw Failure(eExitCode::kFailed, key.toString() + " cannot be made, the warning before this line says why");
}

void addContent(KrSim::KrApplication& application, const KrFactoryKey& key) {
    const auto extension = make(key);
    if (extension->getImplementationAs<KrSim::ISimulatorModule>() != nullptr) {
        throw Failure(eExitCode::kUsage, key.toString() + " is a module: choose it with --module");
    }
    extension->setName(key.name.c_str());  // adding several of one type makes their names unique
    if (!application.add(extension.get())) {
        throw Failure(eExitCode::kFailed, key.toString() + " is refused by the application");
    }
}

void insertModule(KrSim::KrApplication& application, const KrFactoryKey& key) {
    const auto extension = make(key);
    const KrSim::KrSmartInterface<KrSim::ISimulatorModule> module(
        extension->getImplementationAs<KrSim::ISimulatorModule>());
    if (!module) throw Failure(eExitCode::kUsage, key.toString() + " is no module: choose it with --content");
    extension->setName(key.name.c_str());  // a setup finds it by type and name
    if (!application.insertModule(module)) {
        throw Failure(eExitCode::kFailed, key.toString() + " is refused by the application");
    }
}

/// Of those plug-ins, in the order of the catalogue.
std::vector<KrFactoryKey> findModulesOf(const std::vector<std::string>& plugins, const TypeCatalog& catalog) {
    const auto modules = KrExtensionFactory::getAvailableTypes(KrExtensionFactory::eType::kSimulatorModule);
    std::vector<KrFactoryKey> found;
    for (const auto& plugin : catalog.getPlugins()) {
        if (std::find(plugins.begin(), plugins.end(), plugin.name) == plugins.end()) continue;
        std::copy_if(plugin.types.begin(), plugin.types.end(), std::back_inserter(found), [&](const KrFactoryKey& key) {
            return std::any_of(modules.begin(), modules.end(),
                               [&](const KrFactoryKey& each) { return each.uuid == key.uuid; });
        });
    }
    return found;
}

/// As content, which need a module of the library.
bool hasConnections(const KrSim::KrApplication& application) {
    const auto extensions = application.getContentDispatcher().getExtensions();
    return std::any_of(extensions.begin(), extensions.end(), [](const auto& each) {
        return each->template getImplementationAs<KrSim::ConnectionContainer>() != nullptr;
    });
}

}  // namespace

void addPluginDirectories(const std::vector<std::string>& directories) {
    for (const auto& directory : directories) {
        std::error_code error;
        if (!std::filesystem::is_directory(directory, error)) {
            throw Failure(eExitCode::kUsage, "plug-in directory '" + directory + "' does not exist");
        }
        if (findPluginFiles(directory).empty()) {
            throw Failure(eExitCode::kUsage, "plug-in directory '" + directory + "' holds no plug-in (a file '*.krp')");
        }
        KrPluginManager::instance().addPluginSearchDir(directory);
    }
}

std::vector<std::string> getPluginDirectories() {
    const auto directories = KrPluginManager::instance().getPluginSearchDirs();
    return {directories.begin(), directories.end()};
}

void assemble(KrSim::KrApplication& application, const RunPlan& plan, const TypeCatalog& catalog, bool hasSetup) {
    // All names first: a wrong one is reported before anything is loaded.
    std::vector<KrFactoryKey> content;
    std::vector<KrFactoryKey> modules;
    for (const auto& each : plan.content)
        content.push_back(catalog.find(each));
    for (const auto& each : plan.modules)
        modules.push_back(catalog.find(each));

    for (const auto& each : content)
        addContent(application, each);
    if (modules.empty() && !hasSetup) {
        std::vector<std::string> plugins;
        for (const auto& each : application.getContentDispatcher().getExtensions())
            plugins.push_back(each->getCreationKey().plugin);
        modules = findModulesOf(plugins, catalog);
        if (hasConnections(application)) modules.push_back(KrSim::Keys::ConnectionModule::kInternalFactoryKey);
    }
    for (const auto& each : modules)
        insertModule(application, each);

    if (plan.rateHz) application.setSimulationFrameRate(*plan.rateHz);
    if (plan.seed) application.setRandomSeed(*plan.seed);
    using eSync = KrSim::eSynchronizationMode;
    if (plan.isPaced || !hasSetup) {
        application.setSyncMode(plan.isPaced.value_or(true) ? eSync::kSWSync : eSync::kSyncOff);
    }
    // Last, so that content and modules are notified of it.
    if (plan.mode || !hasSetup) {
        application.setApplicationMode(plan.mode.value_or(KrSim::eApplicationMode::kSimulating));
    }
}

}  // namespace krsim
