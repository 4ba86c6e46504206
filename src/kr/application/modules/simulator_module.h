#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "kr/application/modules/fwd.h"
#include "kr/extension/extension.h"
#include "kr/platform/array.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

namespace detail {
class ManagedList;
}

/// The framework half of a simulator module, which an application steps in every frame: priorities, the application,
/// and the managed extensions. The implementation half, ISimulatorModule, has the behaviour, if there is one.
///
/// Managing an extension makes it part of the simulation: it is active while at least one module manages it. Modules
/// are no content: objects refuse them. Overview: docs/modules.md.
///
/// Thread: application.
/// Ownership: the application holds its modules, a module holds its managed extensions. A module that leaves its
/// application, or dies, releases them; each becomes inactive unless another module manages it.
class KR_API KrSimulatorModule : public KrExtension {
    KR_BASE_CLASS(KrSimulatorModule, KrExtension)

    using Extensions = Kr::KrArray<Kr::KrSmartPtr<KrExtension>>;

    /// \param preUpdate, update, postUpdate  priorities in these passes; modules of lower ones run first.
    explicit KrSimulatorModule(int preUpdate = 0, int update = 0, int postUpdate = 0);
    ~KrSimulatorModule() override;

    // --- The passes of a frame; exceptions of the implementation are logged as warnings -----------------------------
    virtual void preUpdate(eApplicationMode mode);
    virtual void update(eApplicationMode mode);
    virtual void postUpdate(eApplicationMode mode);

    // --- Added and removed extensions
    // ---------------------------------------------------------------------------------
    /// Offers an extension to the implementation, which decides whether to manage it. Ignores null.
    virtual void addExtension(KrExtension* extension);
    void addExtension(const Kr::KrSmartPtr<KrExtension>& extension);
    /// Withdraws an extension. Ignores null.
    virtual void removeExtension(KrExtension* extension);
    void removeExtension(const Kr::KrSmartPtr<KrExtension>& extension);

    /// In the order of the last sorting, later ones at the end. The reference is valid until the module dies; iterators
    /// only until the list changes, so copy the list before changing it in a loop.
    [[nodiscard]] const Extensions& getManagedExtensions() const;
    [[nodiscard]] bool hasManagedExtension(KrExtension* extension) const;

    // --- Place -----------------------------------------------------------------------------------------------------
    [[nodiscard]] int getPreUpdatePriority() const noexcept { return _preUpdatePriority; }
    [[nodiscard]] int getUpdatePriority() const noexcept { return _updatePriority; }
    [[nodiscard]] int getPostUpdatePriority() const noexcept { return _postUpdatePriority; }
    /// The application that the module belongs to, or null.
    [[nodiscard]] KrApplication* getApplication() const noexcept { return _application; }
    /// The implementation; null without one and for a placeholder.
    [[nodiscard]] ISimulatorModule* getModuleImplementation() const noexcept {
        return hasImplementation() ? _module : nullptr;
    }

    // --- State -----------------------------------------------------------------------------------------------------
    /// Adds the module's own state, then the states of onFillSimulationState. Ignores null.
    void fillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const override;

    // --- For the framework -----------------------------------------------------------------------------------------
    /// A sequence that contains the module already uses them from its next insertion on.
    void _setPriorities(int preUpdate, int update, int postUpdate) noexcept;
    /// The module belongs to the application from now on and is active during that time, so that changes of its fields
    /// are noticed and its errors shown. Set its context (_setApplicationContext) before. Borrowed until
    /// _onRemoveFromApplication.
    virtual void _onAddToApplication(KrApplication* application);
    /// It belongs to no application any more; after the callback it releases all extensions that it still manages.
    virtual void _onRemoveFromApplication(KrApplication* application);

protected:
    void _fillState(KrExtensionState& state) const override;
    void _copyTo(KrExtension* target, bool copyFields) const override;
    [[nodiscard]] bool _isSimulatorModule() const noexcept override;
    /// The mode of the application has changed.
    void _onApplicationModeChange(eApplicationMode from, eApplicationMode to);
    /// Appends the extension and increments its count of managing modules; the first one makes it active. Managing it
    /// twice counts twice. Always true; null gets a place and is ignored there.
    bool _addManagedExtension(KrExtension* extension);
    /// Removes the extension once; the last removal makes it inactive. False when it is not managed here.
    bool _removeManagedExtension(KrExtension* extension);
    /// Puts the managed extensions in their execution order. One comparison while neither they nor the graph of
    /// connections changed, so call it in every frame.
    /// \return  whether they or their order may differ from those after the previous call.
    bool _sortManagedExtensions();
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> _makeClone() const override;

private:
    friend class ISimulatorModule;
    friend class KrApplication;

    void _releaseManagedExtensions();
    static void _countDown(KrExtension* extension);

    int _preUpdatePriority;
    int _updatePriority;
    int _postUpdatePriority;
    ISimulatorModule* _module{nullptr};  // the implementation, when it is one of a module
    KrApplication* _application{nullptr};
    std::unique_ptr<detail::ManagedList> _managed;
    bool _needsSorting{false};
    std::uint32_t _sorterVersion;
};

}  // namespace KrSim
