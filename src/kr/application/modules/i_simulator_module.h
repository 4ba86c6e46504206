#pragma once

#include "kr/application/modules/simulator_module.h"
#include "kr/core/id.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/i_extension_state.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The implementation half of a simulator module, written by plug-in authors: it picks the extensions that it simulates
/// and steps them in every frame.
///
///     class Traffic final : public KrSim::ISimulatorModule {
///     public:
///         static constexpr int kVersion = 1;
///         explicit Traffic(KrSim::KrSimulatorModule* proxy) : ISimulatorModule(proxy, kVersion) {}
///
///         void onExtensionAdded(KrSim::KrExtension* extension) override {
///             if (extension->getImplementationAs<Vehicle>() != nullptr) _addManagedExtension(extension);
///         }
///         void onExtensionRemoved(KrSim::KrExtension* extension) override { _removeManagedExtension(extension); }
///         void onUpdate(KrSim::eApplicationMode mode) override;
///     };
///
/// Everything else is as in IExtension. The application calls the passes of all modules one after the other:
/// onPreUpdate of each, then onUpdate of each, then onPostUpdate of each. What changes the content or the modules from
/// inside a pass is done after it.
class KR_API ISimulatorModule : public IExtension {
public:
    using Proxy = KrSimulatorModule;

    /// The interface in the type registry, for fields that refer to modules: "KrSim::ISimulatorModule".
    static const Kr::KrID kFieldTypeId;

    /// See IExtension. The priorities of the proxy stay.
    ISimulatorModule(KrSimulatorModule* proxy, int version);
    /// \param preUpdate, update, postUpdate  priorities in these passes; modules of lower ones run first.
    ISimulatorModule(KrSimulatorModule* proxy, int version, int preUpdate, int update, int postUpdate);
    ~ISimulatorModule() override;

    // --- Callbacks, in slot order after those of IExtension; do nothing by default -----------------------------------
    virtual void onPreUpdate(eApplicationMode mode);
    virtual void onUpdate(eApplicationMode mode);
    virtual void onPostUpdate(eApplicationMode mode);
    /// The extension came into the application, or was there when the module came; objects come before what they hold.
    virtual void onExtensionAdded(KrExtension* extension);
    /// It leaves the application. A module that manages it must let go of it here.
    virtual void onExtensionRemoved(KrExtension* extension);
    virtual void onAddToApplication(KrApplication* application);
    /// What the module still manages after this is let go of.
    virtual void onRemoveFromApplication(KrApplication* application);
    virtual void onApplicationModeChange(eApplicationMode from, eApplicationMode to);
    /// Adds the states of extensions that belong to the module alone. Its own state is there already (onStateSave).
    virtual void onFillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const;
    /// kWithContent by default.
    [[nodiscard]] virtual IExtensionState::eRestoreStatePriority getRestoreStatePriority() const;

    // --- The proxy -------------------------------------------------------------------------------------------------
    /// The application that the module belongs to, or null.
    [[nodiscard]] KrApplication* getApplication() const noexcept;

    /// Null for an implementation made without a proxy.
    [[nodiscard]] KrSimulatorModule* _getModuleProxy() const noexcept { return _moduleProxy; }

protected:
    // See KrSimulatorModule; without a proxy there is nothing to manage.

    [[nodiscard]] const KrSimulatorModule::Extensions& getManagedExtensions() const;
    bool _addManagedExtension(KrExtension* extension);
    bool _removeManagedExtension(KrExtension* extension);
    bool _sortManagedExtensions();

private:
    KrSimulatorModule* _moduleProxy;
};

namespace detail {

template <KrImplementation T>
requires std::derived_from<T, ISimulatorModule>
inline constexpr KrExtensionFactory::eType kKindOf<T> = KrExtensionFactory::eType::kSimulatorModule;

}  // namespace detail

}  // namespace KrSim
