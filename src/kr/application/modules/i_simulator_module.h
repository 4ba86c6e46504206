#pragma once

#include "kr/application/modules/simulator_module.h"
#include "kr/core/id.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/i_extension_state.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The implementation half of a simulator module, written by plug-in authors: it chooses the extensions that it
/// simulates and steps them in every frame. To simulate all extensions of one class derive from ModuleOf instead.
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
/// onPreUpdate of each, then onUpdate of each, then onPostUpdate of each. Changes of the content or the modules during
/// a pass are made after it.
/// Thread: application. Ownership: owned by its proxy.
class KR_API ISimulatorModule : public IExtension {
public:
    using Proxy = KrSimulatorModule;

    /// The interface in the type registry, for fields that refer to modules: "KrSim::ISimulatorModule".
    static const Kr::KrID kFieldTypeId;

    /// See IExtension. The priorities of the proxy are kept.
    ISimulatorModule(KrSimulatorModule* proxy, int version);
    /// \param preUpdate, update, postUpdate  priorities in these passes; modules of lower ones run first.
    ISimulatorModule(KrSimulatorModule* proxy, int version, int preUpdate, int update, int postUpdate);
    ~ISimulatorModule() override;

    // --- Callbacks, in slot order after those of IExtension; do nothing by default ----------------------------------
    virtual void onPreUpdate(eApplicationMode mode);
    /// Once a frame, the main step of the simulation; not while the application is paused.
    virtual void onUpdate(eApplicationMode mode);
    /// After onUpdate of all modules.
    virtual void onPostUpdate(eApplicationMode mode);
    /// The extension was added to the application, or was present when the module was inserted; objects are passed
    /// before the extensions below them.
    virtual void onExtensionAdded(KrExtension* extension);
    /// The extension is being removed from the application. A module that manages it must stop managing it here.
    virtual void onExtensionRemoved(KrExtension* extension);
    /// Before the content of the application is offered. Borrowed: see getApplication.
    virtual void onAddToApplication(KrApplication* application);
    /// Extensions that are still managed after this call are released.
    virtual void onRemoveFromApplication(KrApplication* application);
    /// After the fields have been set to editing mode or not.
    virtual void onApplicationModeChange(eApplicationMode from, eApplicationMode to);
    /// Adds the states of extensions that belong to the module alone. Its own state was added before (onStateSave).
    virtual void onFillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const;
    /// kWithContent by default.
    [[nodiscard]] virtual IExtensionState::eRestoreStatePriority getRestoreStatePriority() const;

    // --- The proxy -------------------------------------------------------------------------------------------------
    /// The application that the module belongs to, or null.
    [[nodiscard]] KrApplication* getApplication() const noexcept;

    /// Null for an implementation created without a proxy.
    [[nodiscard]] KrSimulatorModule* _getModuleProxy() const noexcept { return _moduleProxy; }

protected:
    // See KrSimulatorModule; without a proxy these do nothing.

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
