#include "kr/testing/test_application.h"

#include <algorithm>
#include <stdexcept>

#include "kr/application/content_dispatcher.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/data/container.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/platform/nearest_name.h"
#include "kr/platform/plugins/plugin_manager.h"

namespace KrTesting {

using KrSim::KrExtension;
using KrSim::KrExtensionFactory;
using KrSim::KrFactoryKey;

namespace {

using Extension = Kr::KrSmartPtr<KrExtension>;

[[noreturn]] void fail(const std::string& text) {
    throw std::runtime_error("TestApplication: " + text);
}

std::vector<KrFactoryKey> getTypes() {
    using eType = KrExtensionFactory::eType;
    std::vector<KrFactoryKey> types;
    for (const auto kind : {eType::kExtension, eType::kObject, eType::kSimulatorModule}) {
        for (const auto& each : KrExtensionFactory::getAvailableTypes(kind))
            types.push_back(each);
    }
    return types;
}

KrFactoryKey findType(const std::string& name) {
    std::vector<KrFactoryKey> found;
    std::vector<std::string> names;
    for (const auto& each : getTypes()) {
        const auto fullName = each.category + "." + each.name;
        names.insert(names.end(), {each.name, fullName});
        if (name == each.name || name == fullName) found.push_back(each);
    }
    if (found.empty()) {
        fail("no type '" + name + "' is registered, usePlugin loads those of a plug-in" + Kr::suggestName(name, names));
    }
    if (found.size() > 1) fail("several types are named '" + name + "': put the category before the name, and a dot");
    return found.front();
}

/// The paths of the inputs, outputs and parameters, as getField takes them.
void appendFieldPaths(std::vector<std::string>& paths, const KrExtension& extension) {
    for (const auto* group :
         {&extension.getInputContainer(), &extension.getOutputContainer(), &extension.getParameterContainer()}) {
        for (const auto* field : *group)
            paths.push_back(extension.getPath() + "." + field->getPath());
    }
}

}  // namespace

TestApplication::TestApplication(double frameRateHz) {
    getApplication().setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    getApplication().setSimulationFrameRate(frameRateHz);
    getApplication().setApplicationMode(KrSim::eApplicationMode::kSimulating);
}

TestApplication::~TestApplication() = default;

void TestApplication::usePlugin(const std::string& directory, const std::string& plugin) {
    auto& plugins = KrPluginSystem::KrPluginManager::instance();
    plugins.addPluginSearchDir(directory);
    if (!plugins.load(plugin))
        fail("plug-in '" + plugin + "' cannot be loaded from '" + directory + "', the warning before says why");
    for (const auto& each : KrExtensionFactory::getAvailableTypes(KrExtensionFactory::eType::kSimulatorModule)) {
        if (each.plugin == plugin) add(each.category + "." + each.name);
    }
}

KrExtension& TestApplication::add(const std::string& type, const std::string& name) {
    const auto key = findType(type);
    const auto extension = KrExtensionFactory::create(key);
    if (!extension) fail("no '" + type + "' can be made, the warning before says why");
    _add(*extension, name.empty() ? key.name : name);
    return *extension;
}

void TestApplication::_add(KrExtension& extension, const std::string& name) const {
    extension.setName(name.c_str());
    auto* module = extension.getImplementationAs<KrSim::ISimulatorModule>();
    const bool isTaken = module != nullptr
                             ? getApplication().insertModule(KrSim::KrSmartInterface<KrSim::ISimulatorModule>(module))
                             : getApplication().add(&extension);
    if (!isTaken) fail("the application refuses '" + name + "'");
}

std::vector<Extension> TestApplication::_getExtensions() const {
    auto extensions = getApplication().getContentDispatcher().getExtensions();
    for (std::size_t i = 0; i < getApplication().getModuleCount(); ++i)
        extensions.emplace_back(getApplication().getModule(i));
    return extensions;
}

KrData::FieldBase& TestApplication::getField(const std::string& path) const {
    std::vector<std::string> known;
    for (const auto& each : _getExtensions()) {
        const auto start = each->getPath() + ".";
        auto* field = path.starts_with(start) ? each->findFieldFromPath(path.substr(start.size())) : nullptr;
        if (field != nullptr) return *field;
        appendFieldPaths(known, *each);
    }
    fail("there is no field '" + path + "'" + Kr::suggestName(path, known));
}

KrPersistence::RunRecord TestApplication::record(std::uint32_t frames) {
    KrPersistence::RunRecord record;
    bool isRunning = true;
    for (std::uint32_t i = 0; i < frames && isRunning; ++i) {
        isRunning = step();
        record.take(getApplication());
    }
    return record;
}

}  // namespace KrTesting
