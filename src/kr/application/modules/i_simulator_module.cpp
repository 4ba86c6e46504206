#include "kr/application/modules/i_simulator_module.h"

#include "kr/data/types.h"

namespace KrSim {

// Before all other static objects of the library, which may use it.
[[gnu::init_priority(1000)]] const Kr::KrID ISimulatorModule::kFieldTypeId = KrData::Types::_registerInterfaceFieldType(
    "KrSim::ISimulatorModule", "Simulator Module",
    [](IExtension* implementation) { return dynamic_cast<ISimulatorModule*>(implementation) != nullptr; });

ISimulatorModule::ISimulatorModule(KrSimulatorModule* proxy, int version)
    : IExtension(proxy, version), _moduleProxy(proxy) {
    if (_moduleProxy != nullptr) _moduleProxy->_module = this;
}

ISimulatorModule::ISimulatorModule(KrSimulatorModule* proxy, int version, int preUpdate, int update, int postUpdate)
    : ISimulatorModule(proxy, version) {
    if (_moduleProxy != nullptr) _moduleProxy->_setPriorities(preUpdate, update, postUpdate);
}

ISimulatorModule::~ISimulatorModule() {
    if (_moduleProxy != nullptr && _moduleProxy->_module == this) _moduleProxy->_module = nullptr;
}

void ISimulatorModule::onPreUpdate(eApplicationMode) {}
void ISimulatorModule::onUpdate(eApplicationMode) {}
void ISimulatorModule::onPostUpdate(eApplicationMode) {}
void ISimulatorModule::onExtensionAdded(KrExtension*) {}
void ISimulatorModule::onExtensionRemoved(KrExtension*) {}
void ISimulatorModule::onAddToApplication(KrApplication*) {}
void ISimulatorModule::onRemoveFromApplication(KrApplication*) {}
void ISimulatorModule::onApplicationModeChange(eApplicationMode, eApplicationMode) {}
// NOLINTNEXTLINE(performance-unnecessary-value-param): overrides may keep it
void ISimulatorModule::onFillSimulationState(Kr::KrSmartPtr<KrSimulationState>) const {}
IExtensionState::eRestoreStatePriority ISimulatorModule::getRestoreStatePriority() const {
    return IExtensionState::eRestoreStatePriority::kWithContent;
}

KrApplication* ISimulatorModule::getApplication() const noexcept {
    return _moduleProxy != nullptr ? _moduleProxy->getApplication() : nullptr;
}

const KrSimulatorModule::Extensions& ISimulatorModule::getManagedExtensions() const {
    static const auto& none = *new KrSimulatorModule::Extensions;
    return _moduleProxy != nullptr ? _moduleProxy->getManagedExtensions() : none;
}

bool ISimulatorModule::_addManagedExtension(KrExtension* extension) {
    return _moduleProxy != nullptr && _moduleProxy->_addManagedExtension(extension);
}

bool ISimulatorModule::_removeManagedExtension(KrExtension* extension) {
    return _moduleProxy != nullptr && _moduleProxy->_removeManagedExtension(extension);
}

bool ISimulatorModule::_sortManagedExtensions() {
    return _moduleProxy != nullptr && _moduleProxy->_sortManagedExtensions();
}

}  // namespace KrSim
