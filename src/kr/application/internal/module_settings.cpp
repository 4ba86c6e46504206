#include "kr/application/internal/module_settings.h"

#include <string>

#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/extension/extension_factory.h"
#include "kr/extension/object.h"
#include "kr/platform/log.h"

namespace KrSim::detail {

namespace {

constexpr const char* kUuid = "Module Type";
constexpr const char* kCategory = "Module Category";
constexpr const char* kTypeName = "Module Type Name";
constexpr const char* kPlugin = "Module Plug-in";
constexpr const char* kSettings = "Module Settings";

void addText(KrExtension& record, const char* name, const std::string& text) {
    auto* field = record.addParameter(name, KrData::Types::kString);
    if (field != nullptr) field->copyValue(KrData::Field<std::string>(name, nullptr, text));
}

std::string textOf(const KrExtension& record, const char* name) {
    const auto* text = dynamic_cast<const KrData::Field<std::string>*>(record.getParameter(name));
    return text != nullptr ? text->getValue() : std::string();
}

KrSimulatorModule* findModule(const KrApplication& application, const KrFactoryKey& key, const std::string& name) {
    for (std::size_t i = 0; i < application.getModuleCount(); ++i) {
        auto* module = application.getModule(i);
        if (module->getCreationKey().uuid == key.uuid && module->getName() == name) return module;
    }
    return nullptr;
}

void copySettings(const KrExtension& record, KrSimulatorModule& module) {
    const auto* settings = dynamic_cast<const KrData::Container*>(record.getParameter(kSettings));
    if (settings == nullptr) return;
    auto& parameters = module.getParameterContainer();
    for (const auto* each : *settings) {
        const auto place = parameters.find(each->getID());
        if (place == parameters.end() || !(*place)->copyValue(*each)) {
            Kr::logMessage(Kr::eLogLevel::kWarn,
                           "KrApplication: Module '%s' has no parameter '%s' that takes the value of the setup\n",
                           module.getName().c_str(), each->getID().str().c_str());
        }
    }
}

}  // namespace

void captureModules(const KrApplication& application, ApplicationConfig& setup) {
    for (std::size_t i = 0; i < application.getModuleCount(); ++i) {
        const auto* module = application.getModule(i);
        const auto& key = module->getCreationKey();
        if (key.isNull()) continue;  // made by hand: nobody could make it again
        const auto record = Kr::makeSmart<KrExtension>();
        record->setName(module->getName().c_str());
        addText(*record, kUuid, key.uuid.toString());
        addText(*record, kCategory, key.category);
        addText(*record, kTypeName, key.name);
        addText(*record, kPlugin, key.plugin);
        auto* settings = dynamic_cast<KrData::Container*>(record->addParameter(kSettings, KrData::Types::kContainer));
        for (const auto* each : module->getParameterContainer())
            static_cast<void>(each->clone(settings));
        setup._getObjectProxy()->add(record.get());
    }
}

void applyModules(KrApplication& application, const ApplicationConfig& setup) {
    for (const auto& record : setup._getObjectProxy()->_getExtensions()) {
        const KrFactoryKey key(textOf(*record, kUuid).c_str(), textOf(*record, kCategory), textOf(*record, kTypeName),
                               textOf(*record, kPlugin));
        if (key.isNull()) continue;
        auto* module = findModule(application, key, record->getName());
        if (module != nullptr) {
            copySettings(*record, *module);
            continue;
        }
        const auto made = KrExtensionFactory::create(key);  // warns when it cannot
        auto* implementation = made ? made->getImplementationAs<ISimulatorModule>() : nullptr;
        if (implementation == nullptr) continue;
        made->setName(record->getName().c_str());
        copySettings(*record, *implementation->_getModuleProxy());
        application.insertModule(KrSmartInterface<ISimulatorModule>(implementation));
    }
}

}  // namespace KrSim::detail
