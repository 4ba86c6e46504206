#include "kr/application/content_dispatcher.h"

#include <algorithm>
#include <utility>

#include "kr/application/modules/simulator_module.h"
#include "kr/extension/extension_sorter.h"

namespace KrSim {

namespace {

KrObject* asObject(KrExtension& extension) {
    return extension.isOfClassType(KrObject::getClassType()) ? static_cast<KrObject*>(&extension) : nullptr;
}

void collect(const KrObject& object, std::vector<Kr::KrSmartPtr<KrExtension>>& extensions) {
    for (auto& each : object._getExtensions()) {
        extensions.push_back(each);
        if (const auto* child = asObject(*each)) collect(*child, extensions);
    }
}

}  // namespace

/// An extension that is being offered to the modules, one after the other.
struct KrContentDispatcher::ExtensionOffer {
    const KrExtension* extension;
    std::shared_ptr<const Modules> modules;
    std::size_t told;                            // of these modules
    bool isOver;                                 // the extension has left
    std::vector<const KrSimulatorModule*> gone;  // should one come back it is offered everything anyway
    ExtensionOffer* outer;
};

/// A module that is being offered all extensions, one after the other.
struct KrContentDispatcher::ModuleOffer {
    const KrSimulatorModule* module;
    std::vector<Kr::KrSmartPtr<KrExtension>> extensions;  // null: it has left
    std::size_t told;
    ModuleOffer* outer;
};

KrContentDispatcher::Observer::~Observer() = default;

KrContentDispatcher::KrContentDispatcher(KrObject& root, Observer& observer)
    : _root(root), _observer(observer), _modules(std::make_shared<Modules>()) {
    _root.registerListener(this);
    for (const auto& each : _root._getExtensions())
        _enter(*each);
}

KrContentDispatcher::~KrContentDispatcher() {
    _root.unregisterListener(this);
}

std::vector<Kr::KrSmartPtr<KrExtension>> KrContentDispatcher::getExtensions() const {
    std::vector<Kr::KrSmartPtr<KrExtension>> extensions;
    extensions.reserve(_present.size());
    collect(_root, extensions);
    // Some are in their object already but are still to be offered, after their siblings.
    std::erase_if(extensions, [this](const auto& each) { return !contains(each.get()); });
    return extensions;
}

KrSimulatorModule* KrContentDispatcher::getModule(std::size_t index) const {
    return index < _modules->size() ? (*_modules)[index].get() : nullptr;
}

bool KrContentDispatcher::hasModule(const KrSimulatorModule* module) const {
    return std::any_of(_modules->begin(), _modules->end(), [&](const auto& each) { return each.get() == module; });
}

// --- Extensions that come and go -----------------------------------------------------------------------------------

void KrContentDispatcher::onExtensionAdded(KrObject* object, KrExtension* extension) {
    // A listener before this one may have taken it out again.
    if (extension->getOwner() == object) _enter(*extension);
}

void KrContentDispatcher::onExtensionRemoved(KrObject*, KrExtension* extension) {
    _leave(*extension);
}

void KrContentDispatcher::_enter(KrExtension& extension) {
    if (!_present.insert(&extension).second) return;
    const Kr::KrSmartPtr<KrExtension> held(&extension);
    KrExtensionSorter::instance().addExtension(&extension);
    _offer(extension);
    if (!contains(&extension)) return;
    _observer._onExtensionEntered(extension);
    auto* object = asObject(extension);
    if (object == nullptr || !contains(&extension)) return;
    // From here on the object tells of what comes; what came with it follows its parent.
    object->registerListener(this);
    for (const auto& each : object->_getExtensions()) {
        if (contains(&extension) && each->getOwner() == object) _enter(*each);
    }
}

void KrContentDispatcher::_leave(KrExtension& extension) {
    if (!contains(&extension)) return;
    const Kr::KrSmartPtr<KrExtension> held(&extension);
    if (auto* object = asObject(extension)) {
        object->unregisterListener(this);
        auto below = object->_getExtensions();
        for (auto each = below.rbegin(); each != below.rend(); ++each)
            _leave(**each);
    }
    if (_present.erase(&extension) == 0) return;  // a module was faster
    _withdraw(extension);
    KrExtensionSorter::instance().removeExtension(&extension);
    _observer._onExtensionLeft(extension);
}

void KrContentDispatcher::_offer(KrExtension& extension) {
    ExtensionOffer offer{&extension, _modules, 0, false, {}, _extensionOffers};
    _extensionOffers = &offer;
    while (offer.told < offer.modules->size() && !offer.isOver) {
        const auto& module = (*offer.modules)[offer.told++];
        if (std::find(offer.gone.begin(), offer.gone.end(), module.get()) != offer.gone.end()) continue;
        module->addExtension(&extension);
    }
    _extensionOffers = offer.outer;
}

void KrContentDispatcher::_withdraw(KrExtension& extension) {
    const auto modules = _modules;
    std::vector<bool> wasTold(modules->size(), true);
    for (std::size_t i = 0; i < modules->size() && (_extensionOffers != nullptr || _moduleOffers != nullptr); ++i)
        wasTold[i] = _wasTold(*(*modules)[i], extension);
    for (auto* offer = _extensionOffers; offer != nullptr; offer = offer->outer) {
        if (offer->extension == &extension) offer->isOver = true;
    }
    for (auto* offer = _moduleOffers; offer != nullptr; offer = offer->outer) {
        for (std::size_t i = offer->told; i < offer->extensions.size(); ++i) {
            if (offer->extensions[i].get() == &extension) offer->extensions[i].reset();
        }
    }
    for (std::size_t i = modules->size(); i-- > 0;) {
        const auto& module = (*modules)[i];
        if (wasTold[i] && (modules == _modules || hasModule(module.get()))) module->removeExtension(&extension);
    }
}

bool KrContentDispatcher::_wasTold(const KrSimulatorModule& module, const KrExtension& extension) const {
    for (const auto* offer = _extensionOffers; offer != nullptr; offer = offer->outer) {
        const bool isGone = std::find(offer->gone.begin(), offer->gone.end(), &module) != offer->gone.end();
        if (offer->extension != &extension || offer->isOver || isGone) continue;
        const auto begin = offer->modules->begin();
        const auto place =
            std::find_if(begin, offer->modules->end(), [&](const auto& each) { return each == &module; });
        if (place != offer->modules->end()) return static_cast<std::size_t>(place - begin) < offer->told;
    }
    for (const auto* offer = _moduleOffers; offer != nullptr; offer = offer->outer) {
        if (offer->module != &module) continue;
        const auto rest = offer->extensions.begin() + static_cast<std::ptrdiff_t>(offer->told);
        if (std::find(rest, offer->extensions.end(),
                      Kr::KrSmartPtr<KrExtension>(const_cast<KrExtension*>(&extension))) != offer->extensions.end()) {
            return false;
        }
    }
    return true;
}

// --- Modules that come and go --------------------------------------------------------------------------------------

void KrContentDispatcher::_addModule(KrSimulatorModule& module) {
    auto changed = std::make_shared<Modules>(*_modules);
    changed->emplace_back(&module);
    _modules = std::move(changed);
    ModuleOffer offer{&module, getExtensions(), 0, _moduleOffers};
    _moduleOffers = &offer;
    while (offer.told < offer.extensions.size() && hasModule(&module)) {
        const auto extension = offer.extensions[offer.told++];
        if (extension) module.addExtension(extension.get());
    }
    _moduleOffers = offer.outer;
}

void KrContentDispatcher::_removeModule(KrSimulatorModule& module) {
    const Kr::KrSmartPtr<KrSimulatorModule> held(&module);
    auto changed = std::make_shared<Modules>(*_modules);
    if (std::erase(*changed, held) == 0) return;
    _modules = std::move(changed);
    auto extensions = getExtensions();
    std::erase_if(extensions, [&](const auto& each) { return !_wasTold(module, *each); });
    for (auto* offer = _extensionOffers; offer != nullptr; offer = offer->outer)
        offer->gone.push_back(&module);
    for (auto* offer = _moduleOffers; offer != nullptr; offer = offer->outer) {
        if (offer->module == &module) offer->extensions.resize(offer->told);
    }
    for (auto each = extensions.rbegin(); each != extensions.rend(); ++each) {
        if (contains(each->get())) module.removeExtension(each->get());
    }
}

}  // namespace KrSim
