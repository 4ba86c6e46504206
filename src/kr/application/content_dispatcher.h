#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/data/field_reference.h"
#include "kr/extension/object.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/copy_on_write.h"

namespace KrSim {

/// Connects the content of an application with its modules: offers every new extension to every module, withdraws
/// removed extensions, offers all content to a new module, and withdraws all from a removed one. Objects are offered
/// before the extensions below them, and withdrawn after them. Present content is registered with the extension sorter.
///
/// Modules may change content and modules in these calls: each extension is offered to a module once, and
/// withdrawn from it once and only if it was offered.
/// Thread: application.
/// Ownership: holds modules; extensions are held by their objects. Root and observer are borrowed.
class KR_API KrContentDispatcher final : private KrObject::Listener {
public:
    /// Called for added and removed extensions, after all modules.
    class Observer;

    /// The content is everything below the root, now and later. Root and observer are borrowed.
    KrContentDispatcher(KrObject& root, Observer& observer);
    KrContentDispatcher(const KrContentDispatcher&) = delete;
    KrContentDispatcher& operator=(const KrContentDispatcher&) = delete;
    /// Withdraws nothing: remove modules and content before.
    ~KrContentDispatcher() override;

    /// Number of present extensions, including those below objects.
    [[nodiscard]] std::size_t getExtensionCount() const noexcept { return _present.size(); }
    /// Only compares the address.
    [[nodiscard]] bool contains(const KrExtension* extension) const { return _present.count(extension) > 0; }
    /// All present content, each object before the extensions below it.
    [[nodiscard]] std::vector<Kr::KrSmartPtr<KrExtension>> getExtensions() const;
    /// Without modules that are being removed.
    [[nodiscard]] std::size_t getModuleCount() const noexcept { return _modules->size(); }
    /// In the order of insertion; null past the end. Borrowed.
    [[nodiscard]] KrSimulatorModule* getModule(std::size_t index) const;
    [[nodiscard]] bool hasModule(const KrSimulatorModule* module) const;  ///< Only compares the address.
    /// Grows with each extension and module that comes or goes: as long as it stays, so do they.
    [[nodiscard]] std::uint64_t getChangeCount() const noexcept { return _changeCount; }

private:
    friend class KrApplication;

    using Modules = std::vector<Kr::KrSmartPtr<KrSimulatorModule>>;
    struct Telling;
    struct ModuleOffer;
    struct Leaving;

    /// Offers all present content to the module. Throws std::bad_alloc; the module is not inserted then.
    void _addModule(KrSimulatorModule& module);
    /// Removes the module from the list; then withdraws from it all content that was offered to it.
    void _removeModule(KrSimulatorModule& module);
    /// Lets proxy fields find what they link and has come meanwhile: those of content that came since the last call,
    /// and those that still miss something. Costs nothing while no content comes.
    void _updateProxies();
    /// Calls the function with each module, without those that are removed meanwhile.
    template <class Call>
    void _forEachModule(const Call& call) const {
        const auto modules = _modules.read();
        for (const auto& each : *modules) {
            if (_modules.isCurrent(modules) || hasModule(each.get())) call(*each);
        }
    }

    void onExtensionAdded(KrObject* object, KrExtension* extension) override;
    void onExtensionRemoved(KrObject* object, KrExtension* extension) override;
    void _enter(KrExtension& extension);
    void _enterBelow(KrExtension& extension);
    void _leave(KrExtension& extension);
    void _takeOut(KrExtension& extension);
    void _takeOutBelow(KrObject& object);
    void _forget(KrExtension& extension) noexcept;
    void _offer(KrExtension& extension);
    void _withdraw(KrExtension& extension);
    void _finishWithdrawal(Telling& telling);
    void _withdrawFrom(KrSimulatorModule& module, std::vector<Kr::KrSmartPtr<KrExtension>> extensions);
    void _withdrawBelow(const KrObject& object, KrSimulatorModule& module);
    [[nodiscard]] bool _belongsHere(const KrExtension& extension) const;
    [[nodiscard]] bool _hasHeardOf(const KrSimulatorModule& module, const KrExtension& extension) const;

    KrObject& _root;
    Observer& _observer;
    std::unordered_set<const KrExtension*> _present;
    std::vector<KrData::FieldReference> _waitingProxies;
    std::uint64_t _changeCount{0};
    bool _hasNewContent{false};
    Kr::CopyOnWrite<Modules> _modules;  // a walk keeps what it walks over

    // Under way, the innermost first
    Telling* _offers{nullptr};
    Telling* _withdrawals{nullptr};
    ModuleOffer* _moduleOffers{nullptr};
    Leaving* _leaving{nullptr};
};

/// Thread: application. Ownership: borrowed by the dispatcher.
class KR_API KrContentDispatcher::Observer {
public:
    virtual ~Observer();
    /// After the extension was offered to all modules.
    virtual void _onExtensionEntered(KrExtension& extension) = 0;
    /// After the extension was withdrawn from all modules.
    virtual void _onExtensionLeft(KrExtension& extension) = 0;
};

}  // namespace KrSim
