#include "kr/application/connections/connection_module.h"

#include <utility>

#include "kr/application/connections/connection_container.h"
#include "kr/extension/extension.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/factory/registration.h"

namespace KrSim {

namespace {

// While the library is loaded, before any program can ask for the type.
[[maybe_unused]] const bool isRegistered =
    registerExtensionType<ConnectionModule>(Keys::ConnectionModule::kInternalFactoryKey);

}  // namespace

ConnectionModule::ConnectionModule(KrSimulatorModule* proxy)
    : ISimulatorModule(proxy, kVersion, kPriority, kPriority, kPriority) {}
ConnectionModule::~ConnectionModule() = default;

void ConnectionModule::onExtensionAdded(KrExtension* extension) {
    _hasContentCome = true;
    if (extension->getImplementationAs<ConnectionContainer>() != nullptr) _addManagedExtension(extension);
}

void ConnectionModule::onExtensionRemoved(KrExtension* extension) {
    _removeManagedExtension(extension);
}

void ConnectionModule::onPreUpdate(eApplicationMode) {
    const bool isRetried = std::exchange(_hasContentCome, false);
    const auto& managed = getManagedExtensions();
    for (std::size_t i = 0; i < managed.size(); ++i) {
        auto* container = managed[i]->getImplementationAs<ConnectionContainer>();  // null once it was replaced
        if (container == nullptr || !container->isConnected()) continue;           // a host has disconnected it
        if (container->hasChangedList() || (isRetried && container->isIncomplete())) container->connect();
    }
}

}  // namespace KrSim
