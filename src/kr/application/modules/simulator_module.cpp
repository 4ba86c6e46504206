#include "kr/application/modules/simulator_module.h"

#include <string>
#include <utility>

#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/internal/managed_list.h"
#include "kr/application/modules/internal/module_guards.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/extension/state_access.h"
#include "kr/platform/log.h"
#include "kr/platform/memory_guard.h"
#include "kr/platform/profiling.h"

namespace KrSim {

using detail::FieldsAccess;
using detail::StateAccess;

KrSimulatorModule::KrSimulatorModule(int preUpdate, int update, int postUpdate)
    : _preUpdatePriority(preUpdate),
      _updatePriority(update),
      _postUpdatePriority(postUpdate),
      _managed(std::make_unique<detail::ManagedList>()),
      _sorterVersion(KrExtensionSorter::instance().getLastBuildNumber()) {}

KrSimulatorModule::~KrSimulatorModule() {
    _releaseManagedExtensions();
    // Here and not in the base: the destructor of the implementation may still call this half to release an extension.
    FieldsAccess::release(getFieldsContainer());
    _setIExtension(nullptr);
    _releaseManagedExtensions();
}

bool KrSimulatorModule::_isSimulatorModule() const noexcept {
    return true;
}

void KrSimulatorModule::_setPriorities(int preUpdate, int update, int postUpdate) noexcept {
    _preUpdatePriority = preUpdate;
    _updatePriority = update;
    _postUpdatePriority = postUpdate;
}

// --- Callbacks -----------------------------------------------------------------------------------------------------

namespace {

/// Calls the implementation, if there is one.
template <class NameOf, class Call>
void callModule(const KrSimulatorModule& proxy, const Kr::GuardTexts& texts, const NameOf& nameOf, const Call& call) {
    auto* module = proxy.getModuleImplementation();
    if (module != nullptr)
        Kr::callGuarded(
            texts, nameOf, [&] { call(*module); }, &proxy);
}

}  // namespace

void KrSimulatorModule::preUpdate(eApplicationMode mode) {
    callModule(
        *this, detail::kOnPreUpdate,
        [&] {
            return Kr::GuardedNumber{getName(), static_cast<int>(mode)};
        },
        [&](ISimulatorModule& module) { module.onPreUpdate(mode); });
}

void KrSimulatorModule::update(eApplicationMode mode) {
    callModule(
        *this, detail::kOnUpdate,
        [&] {
            return Kr::GuardedNumber{getName(), static_cast<int>(mode)};
        },
        [&](ISimulatorModule& module) { module.onUpdate(mode); });
}

void KrSimulatorModule::postUpdate(eApplicationMode mode) {
    callModule(
        *this, detail::kOnPostUpdate,
        [&] {
            return Kr::GuardedNumber{getName(), static_cast<int>(mode)};
        },
        [&](ISimulatorModule& module) { module.onPostUpdate(mode); });
}

void KrSimulatorModule::addExtension(KrExtension* extension) {
    auto* module = getModuleImplementation();
    if (extension == nullptr || module == nullptr) return;
    // One that could not take it for lack of memory must not look as if it had.
    Kr::callGuardedButMemory(
        detail::kModuleExtensionAdded,
        [&] {
            return Kr::GuardedPair{getName(), extension->getName()};
        },
        [&] { module->onExtensionAdded(extension); }, this);
}

void KrSimulatorModule::addExtension(const Kr::KrSmartPtr<KrExtension>& extension) {
    addExtension(extension.get());
}

void KrSimulatorModule::removeExtension(KrExtension* extension) {
    if (extension == nullptr) return;
    // The module may be the last holder.
    const Kr::KrSmartPtr<KrExtension> keep(extension->getRefCount() > 0 ? extension : nullptr);
    callModule(
        *this, detail::kModuleExtensionRemoved,
        [&] {
            return Kr::GuardedPair{getName(), extension->getName()};
        },
        [&](ISimulatorModule& module) { module.onExtensionRemoved(extension); });
}

void KrSimulatorModule::removeExtension(const Kr::KrSmartPtr<KrExtension>& extension) {
    removeExtension(extension.get());
}

void KrSimulatorModule::_onAddToApplication(KrApplication* application) {
    const bool isNew = _application == nullptr && application != nullptr;
    _application = application;
    // The fields first, so that observers are notified of values that the callback sets.
    if (isNew) FieldsAccess::activate(getFieldsContainer());
    callModule(
        *this, detail::kOnAddToApplication, [&] { return getName(); },
        [&](ISimulatorModule& module) { module.onAddToApplication(application); });
}

void KrSimulatorModule::_onRemoveFromApplication(KrApplication* application) {
    const bool wasIn = std::exchange(_application, nullptr) != nullptr;
    callModule(
        *this, detail::kOnRemoveFromApplication, [&] { return getName(); },
        [&](ISimulatorModule& module) { module.onRemoveFromApplication(application); });
    _releaseManagedExtensions();
    if (wasIn) FieldsAccess::deactivate(getFieldsContainer());
}

void KrSimulatorModule::_onApplicationModeChange(eApplicationMode from, eApplicationMode to) {
    callModule(
        *this, detail::kOnApplicationModeChange, [&] { return getName(); },
        [&](ISimulatorModule& module) { module.onApplicationModeChange(from, to); });
}

// --- Managing ------------------------------------------------------------------------------------------------------

const KrSimulatorModule::Extensions& KrSimulatorModule::getManagedExtensions() const {
    return _managed->items();
}

bool KrSimulatorModule::hasManagedExtension(KrExtension* extension) const {
    return _managed->contains(extension);
}

bool KrSimulatorModule::_addManagedExtension(KrExtension* extension) {
    _managed->append(Kr::KrSmartPtr<KrExtension>(extension));
    _needsSorting = true;
    if (extension != nullptr) FieldsAccess::activate(extension->getFieldsContainer());
    return true;
}

bool KrSimulatorModule::_removeManagedExtension(KrExtension* extension) {
    const auto taken = _managed->take(extension);  // its last holder perhaps; the callback needs it
    if (!taken) return false;
    _needsSorting = true;
    _countDown(taken->get());
    return true;
}

void KrSimulatorModule::_countDown(KrExtension* extension) {
    if (extension == nullptr) return;
    auto& fields = extension->getFieldsContainer();
    if (fields.getActivationCount() == 0) {
        Kr::logMessage(Kr::eLogLevel::kDebug, "KrSimulatorModule: [%s] managed count is less than 0\n",
                       extension->getName().c_str());
        return;
    }
    FieldsAccess::deactivate(fields);
}

void KrSimulatorModule::_releaseManagedExtensions() {
    // A callback may manage others meanwhile.
    while (!_managed->items().isEmpty()) {
        const auto released = _managed->takeAll();
        _needsSorting = true;
        for (const auto& each : released)
            _countDown(each.get());
    }
}

bool KrSimulatorModule::_sortManagedExtensions() {
    const Kr::ProfilingSection section("Modules", "SortManagedExtensions");
    auto& sorter = KrExtensionSorter::instance();
    sorter.build();
    // Before the sorting: should another thread change the graph meanwhile, the list is sorted again next time.
    const auto version = sorter.getLastBuildNumber();
    if (!_needsSorting && version == _sorterVersion) return false;
    _needsSorting = true;  // as long as it is not done, should memory run out
    _sorterVersion = version;
    sorter.sortExtensions(_managed->edit());
    _needsSorting = false;
    return true;
}

// --- State and copies ----------------------------------------------------------------------------------------------

void KrSimulatorModule::fillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const {
    if (!state) return;
    KrExtension::fillSimulationState(state);
    StateAccess::setAddedByModule(*state, true);
    callModule(
        *this, detail::kOnFillSimulationState, [&] { return getName(); },
        [&](const ISimulatorModule& module) { module.onFillSimulationState(state); });
    StateAccess::setAddedByModule(*state, false);
}

void KrSimulatorModule::_fillState(KrExtensionState& state) const {
    if (getModuleImplementation() == nullptr) return KrExtension::_fillState(state);
    _saveImplementationState(state, detail::kOnModuleStateSave);
}

void KrSimulatorModule::_copyTo(KrExtension* target, bool copyFields) const {
    KrExtension::_copyTo(target, copyFields);
    if (!target->isOfClassType(getClassType())) return;
    static_cast<KrSimulatorModule*>(target)->_setPriorities(_preUpdatePriority, _updatePriority, _postUpdatePriority);
}

Kr::KrSmartPtr<KrExtension> KrSimulatorModule::_makeClone() const {
    auto made =
        getCreationKey().isNull() ? Kr::KrSmartPtr<KrExtension>() : KrExtensionFactory::create(getCreationKey());
    return made ? made : Kr::makeSmart<KrSimulatorModule>();
}

}  // namespace KrSim
