#include "kr/application/content_dispatcher.h"

#include <algorithm>
#include <new>
#include <utility>

#include "kr/application/modules/simulator_module.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object_access.h"
#include "kr/extension/order/extension_sorter.h"

namespace KrSim {

using detail::asObject;
using detail::ObjectAccess;
using KrData::detail::LinkAccess;

namespace {

void collect(const KrObject& object, std::vector<Kr::KrSmartPtr<KrExtension>>& extensions) {
    for (auto& each : object.getExtensions()) {
        extensions.push_back(each);
        if (const auto* child = asObject(&*each)) collect(*child, extensions);
    }
}

void collectProxies(const KrData::FieldBase& group, std::vector<KrData::FieldReference>& proxies) {
    for (auto* field : group.getChildren()) {
        if (field->getDataType() == KrData::Types::kProxy) proxies.emplace_back(field);
        collectProxies(*field, proxies);
    }
}

bool missesNothing(const KrData::Proxy& proxy) {
    for (std::size_t i = 0; i < proxy.getLinkCount(); ++i) {
        if (!proxy.getLink(i).isValid() || LinkAccess::isStandIn(proxy.getLink(i))) return false;
    }
    return true;
}

template <class Item, class Value>
bool isIn(const std::vector<Item>& items, const Value& value) {
    return std::find(items.begin(), items.end(), value) != items.end();
}

}  // namespace

/// An extension that all modules are being told of, one after the other.
struct KrContentDispatcher::Telling {
    KrExtension* extension;  // null: it has left while it was offered, and all modules know
    std::shared_ptr<const Modules> modules;
    Telling*& innermost;
    std::size_t left;
    std::vector<const KrSimulatorModule*> passedOver;
    bool isOver{false};  // an offer: the extension is leaving; a withdrawal: no offer continues afterwards
    Telling* outer;

    Telling(KrExtension& itsExtension, std::shared_ptr<const Modules> itsModules, Telling*& chain)
        : extension(&itsExtension),
          modules(std::move(itsModules)),
          innermost(chain),
          left(modules->size()),
          outer(std::exchange(chain, this)) {}
    Telling(const Telling&) = delete;
    Telling& operator=(const Telling&) = delete;
    ~Telling() { innermost = outer; }

    /// How many modules come before this one; the number of all when it is not among them, or is passed over.
    [[nodiscard]] std::size_t find(const KrSimulatorModule& module) const {
        if (isIn(passedOver, &module)) return modules->size();
        const auto place = std::find(modules->begin(), modules->end(), &module);
        return static_cast<std::size_t>(place - modules->begin());
    }
    void offer() {
        while (left > 0 && !isOver) {
            const auto& module = (*modules)[modules->size() - left--];
            if (!isIn(passedOver, module.get())) module->addExtension(extension);
        }
    }
    /// From those that were offered it, after an offer that was not finished.
    void takeBack() noexcept {
        for (auto i = modules->size() - left; !isOver && i-- > 0;) {
            const auto& module = (*modules)[i];
            if (!isIn(passedOver, module.get())) module->removeExtension(extension);
        }
    }
};

/// A module that is being offered all extensions, one after the other.
struct KrContentDispatcher::ModuleOffer {
    const KrSimulatorModule* module;
    std::vector<Kr::KrSmartPtr<KrExtension>> extensions;  // null: it has left
    std::size_t told;
    ModuleOffer* outer;
};

/// An extension that is leaving, with all below it.
struct KrContentDispatcher::Leaving {
    KrExtension* extension;
    Leaving* outer;
};

KrContentDispatcher::Observer::~Observer() = default;

KrContentDispatcher::KrContentDispatcher(KrObject& root, Observer& observer) : _root(root), _observer(observer) {
    _root.registerListener(this);
    for (const auto& each : _root.getExtensions())
        _enter(*each);
}

KrContentDispatcher::~KrContentDispatcher() {
    _root.unregisterListener(this);
}

std::vector<Kr::KrSmartPtr<KrExtension>> KrContentDispatcher::getExtensions() const {
    std::vector<Kr::KrSmartPtr<KrExtension>> extensions;
    extensions.reserve(_present.size());
    collect(_root, extensions);
    // What is leaving is not below the root any more, and present until the modules were told.
    for (const auto* each = _leaving; each != nullptr; each = each->outer) {
        const auto* owner = each->extension->getOwner();
        if (owner == &_root || contains(owner)) continue;
        extensions.emplace_back(each->extension);
        if (const auto* object = asObject(&*each->extension)) collect(*object, extensions);
    }
    // Some are in their object already but are still to be offered, after their siblings.
    std::erase_if(extensions, [this](const auto& each) { return !contains(each.get()); });
    return extensions;
}

KrSimulatorModule* KrContentDispatcher::getModule(std::size_t index) const {
    return index < _modules->size() ? (*_modules)[index].get() : nullptr;
}

bool KrContentDispatcher::hasModule(const KrSimulatorModule* module) const {
    return isIn(*_modules, module);
}

// --- Extensions that come and go -----------------------------------------------------------------------------------

bool KrContentDispatcher::_belongsHere(const KrExtension& extension) const {
    const auto* owner = extension.getOwner();
    if (owner == nullptr || (owner != &_root && !contains(owner))) return false;
    for (const auto* each = _leaving; each != nullptr; each = each->outer) {
        if (each->extension == owner) return false;
    }
    return true;
}

void KrContentDispatcher::onExtensionAdded(KrObject*, KrExtension* extension) {
    // A listener before this one may have taken it out again.
    if (_belongsHere(*extension)) _enter(*extension);
}

void KrContentDispatcher::onExtensionRemoved(KrObject*, KrExtension* extension) {
    _leave(*extension);
}

void KrContentDispatcher::_enter(KrExtension& extension) {
    // An extension that is added again during its removal enters after it.
    if (contains(&extension)) return;
    for (auto* each = _withdrawals; each != nullptr; each = each->outer) {
        if (each->extension == &extension) _finishWithdrawal(*each);
    }
    if (!_belongsHere(extension) || !_present.insert(&extension).second) return;
    ++_changeCount;
    const Kr::KrSmartPtr<KrExtension> held(&extension);
    try {
        KrExtensionSorter::instance().addExtension(&extension);
        collectProxies(extension.getFieldsContainer(), _waitingProxies);
        _hasNewContent = true;
        _offer(extension);
    } catch (...) {
        ++_changeCount;
        if (_present.erase(&extension) > 0) _forget(extension);
        throw;
    }
    if (!contains(&extension)) return;
    _observer._onExtensionEntered(extension);
    if (contains(&extension)) _enterBelow(extension);
}

void KrContentDispatcher::_enterBelow(KrExtension& extension) {
    auto* object = asObject(&extension);
    if (object == nullptr) return;
    try {
        // From here on the object reports additions; extensions added with it follow.
        object->registerListener(this);
        for (const auto& each : object->getExtensions()) {
            if (each->getOwner() == object && _belongsHere(*each)) _enter(*each);
        }
    } catch (...) {
        _takeOut(extension);
        throw;
    }
}

void KrContentDispatcher::_leave(KrExtension& extension) {
    if (!contains(&extension)) return;
    const Kr::KrSmartPtr<KrExtension> held(&extension);
    _takeOut(extension);
    if (_belongsHere(extension)) _enter(extension);
}

void KrContentDispatcher::_takeOut(KrExtension& extension) {
    if (auto* object = asObject(&extension)) {
        Leaving leaving{&extension, _leaving};
        _leaving = &leaving;
        _takeOutBelow(*object);
        _leaving = leaving.outer;
        object->unregisterListener(this);
    }
    if (_present.erase(&extension) == 0) return;  // a module was faster
    ++_changeCount;
    _withdraw(extension);
    _forget(extension);
    _observer._onExtensionLeft(extension);
}

/// The last ones first, from the list as it is: destructors end here, so none is copied. Where modules change the list
/// meanwhile, extensions that they moved are removed in the next walk.
void KrContentDispatcher::_takeOutBelow(KrObject& object) {
    for (auto changes = ObjectAccess::getChangeCount(object) + 1; changes != ObjectAccess::getChangeCount(object);) {
        changes = ObjectAccess::getChangeCount(object);
        for (auto i = object.getExtensionCount(); i-- > 0;) {
            const auto each = ObjectAccess::hold(object, i);
            if (each && each->getOwner() == &object && contains(each.get())) _leave(*each);
        }
    }
}

/// What is kept of an extension that is present.
void KrContentDispatcher::_forget(KrExtension& extension) noexcept {
    std::erase_if(_waitingProxies,
                  [&](const auto& each) { return !each.isAlive() || each.get()->getOwnerExtension() == &extension; });
    KrExtensionSorter::instance().removeExtension(&extension);
}

void KrContentDispatcher::_offer(KrExtension& extension) {
    Telling telling(extension, _modules.read(), _offers);
    try {
        telling.offer();
    } catch (...) {
        telling.takeBack();
        throw;
    }
}

void KrContentDispatcher::_withdraw(KrExtension& extension) {
    Telling telling(extension, _modules.read(), _withdrawals);
    for (auto* offer = _offers; offer != nullptr; offer = offer->outer)
        offer->isOver = offer->isOver || offer->extension == &extension;
    _finishWithdrawal(telling);
}

/// Reads the offers in progress for each module, so that no list of the modules without the extension is needed.
void KrContentDispatcher::_finishWithdrawal(Telling& telling) {
    while (telling.left > 0) {
        const auto& module = (*telling.modules)[--telling.left];
        const bool isToHear = !isIn(telling.passedOver, module.get()) && _hasHeardOf(*module, *telling.extension);
        if (isToHear) module->removeExtension(telling.extension);
    }
    if (std::exchange(telling.isOver, true)) return;  // it may have been added again since
    for (auto* offer = _offers; offer != nullptr; offer = offer->outer) {
        if (offer->extension == telling.extension && offer->isOver) offer->extension = nullptr;
    }
    for (auto* offer = _moduleOffers; offer != nullptr; offer = offer->outer) {
        for (std::size_t i = offer->told; i < offer->extensions.size(); ++i) {
            if (offer->extensions[i].get() == telling.extension) offer->extensions[i].reset();
        }
    }
}

/// For a module that is here and an extension that is, or was until now.
bool KrContentDispatcher::_hasHeardOf(const KrSimulatorModule& module, const KrExtension& extension) const {
    for (const auto* offer = _offers; offer != nullptr; offer = offer->outer) {
        const auto place = offer->extension == &extension ? offer->find(module) : offer->modules->size();
        if (place < offer->modules->size()) return place < offer->modules->size() - offer->left;
    }
    for (const auto* offer = _moduleOffers; offer != nullptr; offer = offer->outer) {
        if (offer->module != &module) continue;
        const auto rest = offer->extensions.begin() + static_cast<std::ptrdiff_t>(offer->told);
        if (std::find(rest, offer->extensions.end(), &extension) != offer->extensions.end()) return false;
    }
    return true;
}

void KrContentDispatcher::_updateProxies() {
    if (!_hasNewContent) return;
    _hasNewContent = false;
    // Observers of proxies may bring content.
    auto proxies = std::exchange(_waitingProxies, {});
    std::erase_if(proxies, [](const auto& each) {
        if (each.isAlive()) static_cast<KrData::Proxy*>(each.get())->updateLinks();
        return !each.isAlive() || missesNothing(*static_cast<const KrData::Proxy*>(each.get()));
    });
    _waitingProxies.insert(_waitingProxies.end(), proxies.begin(), proxies.end());
}

// --- Modules that come and go --------------------------------------------------------------------------------------

void KrContentDispatcher::_addModule(KrSimulatorModule& module) {
    ModuleOffer offer{&module, getExtensions(), 0, _moduleOffers};
    _modules.edit().emplace_back(&module);
    ++_changeCount;
    _moduleOffers = &offer;
    try {
        while (offer.told < offer.extensions.size()) {
            const auto extension = offer.extensions[offer.told++];
            if (extension) module.addExtension(extension.get());
        }
    } catch (...) {
        _removeModule(module);
        _moduleOffers = offer.outer;
        throw;
    }
    _moduleOffers = offer.outer;
}

void KrContentDispatcher::_removeModule(KrSimulatorModule& module) {
    const Kr::KrSmartPtr<KrSimulatorModule> held(&module);
    if (!hasModule(&module)) return;
    std::erase(_modules.edit(), held);
    ++_changeCount;
    try {
        _withdrawFrom(module, getExtensions());
    } catch (const std::bad_alloc&) {
        // Without a list: those that leave because others are withdrawn are not told any more.
        _withdrawBelow(_root, module);
    }
}

void KrContentDispatcher::_withdrawFrom(KrSimulatorModule& module,
                                        std::vector<Kr::KrSmartPtr<KrExtension>> extensions) {
    std::erase_if(extensions, [&](const auto& each) { return !_hasHeardOf(module, *each); });
    for (auto* withdrawal = _withdrawals; withdrawal != nullptr; withdrawal = withdrawal->outer) {
        if (withdrawal->find(module) < withdrawal->left && _hasHeardOf(module, *withdrawal->extension)) {
            extensions.emplace_back(withdrawal->extension);
        }
        withdrawal->passedOver.push_back(&module);
    }
    for (auto* offer = _offers; offer != nullptr; offer = offer->outer)
        offer->passedOver.push_back(&module);
    for (auto* offer = _moduleOffers; offer != nullptr; offer = offer->outer) {
        if (offer->module == &module) offer->extensions.resize(offer->told);
    }
    // All of them, also those being removed: there is no other call for them.
    for (auto each = extensions.rbegin(); each != extensions.rend(); ++each)
        module.removeExtension(each->get());
}

void KrContentDispatcher::_withdrawBelow(const KrObject& object, KrSimulatorModule& module) {
    for (auto i = object.getExtensionCount(); i-- > 0;) {
        const auto each = ObjectAccess::hold(object, i);
        if (!each || !contains(each.get())) continue;
        if (const auto* below = asObject(&*each)) _withdrawBelow(*below, module);
        if (_hasHeardOf(module, *each)) module.removeExtension(each.get());
    }
}

}  // namespace KrSim
