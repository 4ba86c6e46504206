#include "kr/application/internal/module_settings.h"

#include <string>

#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/application/module_record.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/data/container_access.h"
#include "kr/data/field_copying.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/extension_properties.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/object.h"
#include "kr/extension/versioning_registry.h"
#include "kr/platform/log.h"

namespace KrSim::detail {

using KrData::detail::ContainerAccess;

namespace {

KrSimulatorModule* findModule(const KrApplication& application, const ModuleRecord& record) {
    for (std::size_t i = 0; i < application.getModuleCount(); ++i) {
        auto* module = application.getModule(i);
        if (module->getCreationKey().uuid == record.key.uuid && module->getName() == record.name) return module;
    }
    return nullptr;
}

void copySettings(const ModuleRecord& record, KrSimulatorModule& module) {
    if (record.properties != nullptr) ExtensionProperties::_replace(module, record.properties);
    if (record.settings == nullptr) return;
    auto& parameters = module.getParameterContainer();
    for (const auto* each : *record.settings) {
        auto* parameter = KrData::_findCounterpartIn(parameters, *each);
        if (parameter == nullptr) {
            const auto former = ContainerAccess::findDeprecated(parameters, each->getID());
            if (former != parameters.end()) parameter = *former;
        }
        if (parameter == nullptr || !parameter->copyValue(*each)) {
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
        if (module->getCreationKey().isNull()) continue;  // made by hand: cannot be created again
        const ModuleRecord record{module->getName(), module->getCreationKey(), module->getContentID(),
                                  &module->getParameterContainer(), ExtensionProperties::find(*module)};
        setup._getObjectProxy()->add(makeModuleRecord(record).get());
    }
}

void applyModules(KrApplication& application, const ApplicationConfig& setup) {
    for (const auto& extension : setup._getObjectProxy()->getExtensions()) {
        auto record = readModuleRecord(*extension);
        if (!record) continue;
        if (const auto replacing = KrVersioningRegistry::findReplacement(record->key)) record->key = *replacing;
        auto* module = findModule(application, *record);
        if (module != nullptr) {
            copySettings(*record, *module);
            continue;
        }
        const auto made = KrExtensionFactory::create(record->key);  // warns when it cannot
        auto* implementation = made ? made->getImplementationAs<ISimulatorModule>() : nullptr;
        if (implementation == nullptr) continue;
        made->setName(record->name.c_str());
        if (!record->contentID.isEmpty())
            ExtensionAccess::setContentID(*made, record->contentID);  // states of it are found again
        copySettings(*record, *implementation->_getModuleProxy());
        application.insertModule(KrSmartInterface<ISimulatorModule>(implementation));
    }
}

}  // namespace KrSim::detail
