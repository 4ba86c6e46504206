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

/// The framework half of a simulator module, what an application steps in every frame: priorities, the application,
/// and the extensions that the module manages. The behaviour is in the implementation half, ISimulatorModule; without
/// one nothing is called.
///
/// To manage an extension is to take it into the simulation: it is active while at least one module manages it.
/// Modules are no content, objects refuse them. docs/modules.md has the whole picture.
///
/// Thread: the application thread.
/// Ownership: the application holds its modules, a module the extensions that it manages. A module that leaves its
/// application, or dies, lets go of them; each becomes inactive unless another module manages it.
class KR_API KrSimulatorModule : public KrExtension {
    KR_BASE_CLASS(KrSimulatorModule, KrExtension)

    using Extensions = Kr::KrArray<Kr::KrSmartPtr<KrExtension>>;

    /// \param preUpdate, update, postUpdate  priorities in these passes; modules of lower ones run first.
    explicit KrSimulatorModule(int preUpdate = 0, int update = 0, int postUpdate = 0);
    ~KrSimulatorModule() override;

    // --- The passes of a frame; what the implementation throws is logged as a warning ------------------------------
    virtual void preUpdate(eApplicationMode mode);
    virtual void update(eApplicationMode mode);
    virtual void postUpdate(eApplicationMode mode);

    // --- Extensions that come and go -------------------------------------------------------------------------------
    /// Offers an extension to the implementation, which decides whether to manage it. Null is ignored.
    virtual void addExtension(KrExtension* extension);
    void addExtension(const Kr::KrSmartPtr<KrExtension>& extension);
    /// Withdraws it. Null is ignored.
    virtual void removeExtension(KrExtension* extension);
    void removeExtension(const Kr::KrSmartPtr<KrExtension>& extension);

    /// In the order of the last sorting, later ones behind. The reference is good until the module dies; iterators
    /// only until the list changes, so code that changes it meanwhile walks a copy.
    [[nodiscard]] const Extensions& getManagedExtensions() const;
    [[nodiscard]] bool hasManagedExtension(KrExtension* extension) const;

    // --- Place -----------------------------------------------------------------------------------------------------
    [[nodiscard]] int getPreUpdatePriority() const noexcept { return _preUpdatePriority; }
    [[nodiscard]] int getUpdatePriority() const noexcept { return _updatePriority; }
    [[nodiscard]] int getPostUpdatePriority() const noexcept { return _postUpdatePriority; }
    /// The application that the module belongs to, or null.
    [[nodiscard]] KrApplication* getApplication() const noexcept { return _application; }

    // --- State -----------------------------------------------------------------------------------------------------
    /// Adds the module's own state, then what the implementation adds in onFillSimulationState. Null is ignored.
    void fillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const override;

    // --- For the framework -----------------------------------------------------------------------------------------
    /// A sequence that holds the module already goes by the new ones from its next insertion on.
    void _setPriorities(int preUpdate, int update, int postUpdate) noexcept;
    /// The module belongs to the application from now on and is active while it does, so that changes of its
    /// fields are noticed and its errors shown. Set its context (_setApplicationContext) before. Borrowed until
    /// _onRemoveFromApplication.
    virtual void _onAddToApplication(KrApplication* application);
    /// It belongs to none any more; after the callback it lets go of all that it still manages.
    virtual void _onRemoveFromApplication(KrApplication* application);
    /// The application has gone from one mode to another.
    void _onApplicationModeChange(eApplicationMode from, eApplicationMode to);
    /// Null for a placeholder, too.
    [[nodiscard]] ISimulatorModule* _getModuleImplementation() const noexcept {
        return hasImplementation() ? _module : nullptr;
    }
    void _fillState(KrExtensionState& state) const override;
    void _copyTo(KrExtension* target, bool copyFields) const override;
    [[nodiscard]] bool _isSimulatorModule() const noexcept override;

protected:
    /// Appends the extension and counts it as managed once more; the first one to do so makes it active. Managing it
    /// twice counts twice. Always true; null takes a place and does nothing there.
    bool _addManagedExtension(KrExtension* extension);
    /// Takes the extension out, once; the last one to do so makes it inactive. False when it is not managed here.
    bool _removeManagedExtension(KrExtension* extension);
    /// Puts the managed extensions in the order in which they must run. One comparison while neither they nor the
    /// graph of connections changed, so call it in every frame. \return  whether they or their order may be others than
    /// after the call before.
    bool _sortManagedExtensions();
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> _makeClone() const override;

private:
    friend class ISimulatorModule;

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
