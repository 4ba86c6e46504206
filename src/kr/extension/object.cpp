#include "kr/extension/object.h"

#include <algorithm>
#include <new>
#include <utility>

#include "kr/application/context/context_access.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/instance_data.h"
#include "kr/extension/internal/extension_list.h"
#include "kr/extension/internal/object_guards.h"
#include "kr/extension/internal/object_name_path.h"
#include "kr/extension/internal/outside_connections.h"
#include "kr/extension/object_access.h"
#include "kr/platform/log.h"
#include "kr/platform/memory_guard.h"
#include "kr/platform/weak_ptr.h"

namespace KrSim {

using detail::asObject;
using detail::keepAlive;

namespace {

[[maybe_unused]] const bool isKnownToReferences = detail::registerObjectNamePath();

class UnknownObject final : public IObject {
public:
    explicit UnknownObject(KrObject* proxy) : IObject(proxy, kNoImplementationVersion) {}
};

void logDebug(const char* format, const KrExtension& extension, const KrObject& object) {
    Kr::logMessage(Kr::eLogLevel::kDebug, format, extension.getName().c_str(), object.getName().c_str());
}

/// "Car' isCompatible while adding 'Wheel", for the quoted place in a text of the guards.
std::string nameWhile(const KrObject& object, const char* what, const KrExtension& extension) {
    return object.getName() + "' " + what + " '" + extension.getName();
}

bool isHeldBy(const KrExtension& extension, KrExtension& holder) {
    const auto* object = asObject(&holder);
    return object != nullptr && detail::ObjectAccess::holds(*object, extension);
}

}  // namespace

KrObject::Listener::~Listener() = default;
void KrObject::Listener::onExtensionAdded(KrObject*, KrExtension*) {}
void KrObject::Listener::onExtensionRemoved(KrObject*, KrExtension*) {}

KrObject::KrObject() : _extensions(std::make_unique<detail::ExtensionList>()) {}

KrObject::~KrObject() {
    _isDying = true;
    // Extensions with other holders live on without an owner. Callbacks may remove others, so the following ones are
    // skipped and removed in the next walk.
    for (bool isLast = false; !isLast;) {
        isLast = true;
        for (std::size_t i = 0; const auto extension = _hold(i); ++i) {
            if (extension->getOwner() != this) continue;
            isLast = false;
            _dismiss(*extension);
        }
    }
    _held.reset();
    detail::ExtensionList::release(std::move(_extensions));
}

void KrObject::_dismiss(KrExtension& extension) noexcept {
    Leaving leaving{&extension, _leaving};
    _leaving = &leaving;
    extension._setOwner(nullptr);
    extension._setApplicationContext({});
    if (auto* child = asObject(&extension)) {
        for (Kr::ListenerList<Listener>::Delivery delivery(_listeners); auto* listener = delivery.next();) {
            if (listener->isRecursive()) child->unregisterListener(listener);
        }
    }
    _leaving = leaving.outer;
}

bool KrObject::_holds(const KrExtension& extension) const noexcept {
    const auto* each = &extension;
    while (each != nullptr && each != this)
        each = each->getOwner();
    return each != nullptr;
}

bool KrObject::_isBusy() const {
    return _holdApplication().isBusy();
}

ApplicationContext KrObject::_holdApplication() const {
    const std::lock_guard lock(_listMutex);
    return _application;
}

void KrObject::_createUnknownImplementation() {
    static_cast<void>(new UnknownObject(this));
    _setUnknownPlaceholder();
}

IObject* KrObject::getObjectImplementation() const noexcept {
    return getImplementationAs<IObject>();
}

void KrObject::_setApplicationContext(const ApplicationContext& context) {
    ApplicationContext before = context;
    {
        const std::lock_guard lock(_listMutex);
        std::swap(_application, before);
    }
    KrExtension::_setApplicationContext(context);
    // What is below has none either; to walk over it at each level of a tree would take the square of its depth.
    if (before == ApplicationContext() && context == before) return;
    for (std::size_t i = 0; const auto extension = _hold(i); ++i)
        extension->_setApplicationContext(context);
}

// --- Adding --------------------------------------------------------------------------------------------------------

bool KrObject::_isCompatible(KrExtension* extension) const {
    const auto* implementation = getObjectImplementation();
    if (implementation == nullptr || !extension->hasImplementation()) return true;
    bool answer = false;
    Kr::callGuarded(
        detail::kIsCompatible, [&] { return nameWhile(*this, "isCompatible while adding", *extension); },
        [&] { answer = implementation->isCompatible(extension); }, this);
    return answer;
}

bool KrObject::_mayAdd(KrExtension* extension) const {
    if (extension == nullptr || _isDying) return false;
    const auto* owner = extension->getOwner();
    if (owner != nullptr && owner != this) {
        Kr::logMessage(Kr::eLogLevel::kDebug, "KrObject: Can't add '%s' to '%s' because it already in '%s'\n",
                       extension->getName().c_str(), getName().c_str(), owner->getName().c_str());
        return false;
    }
    if (extension->_isSimulatorModule()) {
        logDebug("KrObject: Cannot add a ISimulatorModule '%s' to '%s'.\n", *extension, *this);
        return false;
    }
    if (owner == this) {
        logDebug("KrObject: '%s' already in '%s'\n", *extension, *this);
        return false;
    }
    if (isHeldBy(*this, *extension)) {
        logDebug("KrObject: Can't add '%s' to '%s' because it would hold itself\n", *extension, *this);
        return false;
    }
    return _isCompatible(extension);
}

bool KrObject::add(KrExtension* extension) {
    if (!_mayAdd(extension)) return false;
    const auto addLater = [&] {
        return [weak = Kr::KrWeakPtr<KrObject>(this), held = Kr::KrSmartPtr<KrExtension>(extension)] {
            if (const auto object = weak.lock()) object->_addExtension(held.get());
        };
    };
    detail::changeContent(
        _holdApplication(), [&] { _addExtension(extension); }, addLater);
    return true;
}

bool KrObject::add(const KrSmartInterface<IExtension>& extension) {
    return add(extension.getExtension());
}

void KrObject::_addExtension(KrExtension* extension) {
    if (extension->getOwner() != nullptr || isHeldBy(*this, *extension) || !_isCompatible(extension)) {
        _logAddingFailed(extension);
        return;
    }
    _setContextAndAdd(extension);
}

void KrObject::_logAddingFailed(KrExtension* extension) {
    if (!hasName()) _setDefaultName();
    if (!extension->hasName()) extension->setName(nullptr);
    Kr::logMessage(Kr::eLogLevel::kWarn, "KrObject: Adding '%s' to '%s' has failed.\n", extension->getName().c_str(),
                   getName().c_str());
}

void KrObject::_setContextAndAdd(KrExtension* extension) {
    const Kr::KrSmartPtr<KrExtension> held(extension);
    extension->_setApplicationContext(getFieldsContainer().getApplicationContext());
    try {
        _addExtensionToList(extension);
    } catch (...) {
        extension->_setApplicationContext({});
        throw;
    }
}

bool KrObject::_insert(KrExtension* extension) {
    extension->_ensureName();
    // All that needs memory comes before the first change.
    detail::ExtensionList made;
    made.insert({0, Kr::KrSmartPtr<KrExtension>(extension)});
    const auto before = extension->getName();
    std::string name;
    {
        const std::lock_guard lock(_listMutex);
        name = _names.add(before);
    }
    try {
        // It does not belong here yet, so this is not heard as a renaming.
        extension->setName(name.c_str());
    } catch (...) {
        const std::lock_guard lock(_listMutex);
        _names.remove(name);
        throw;
    }
    {
        std::shared_ptr<const HeldExtensions::List> outdated;  // released without the lock
        const std::lock_guard lock(_listMutex);
        if (extension->getOwner() != nullptr) {  // an observer of the name has added it somewhere
            _names.remove(name);
            return false;
        }
        const auto saved = _savedPositions.find(extension->getContentID().getRuntimeID());
        const auto position = saved != _savedPositions.end() ? saved->second : _nextPosition;
        _nextPosition = std::max(_nextPosition, position + 1);
        extension->_position = position;
        auto node = made.extract(made.begin());
        node.value().position = position;
        _extensions->insert(std::move(node));
        ++_changeCount;
        outdated.swap(_held);
    }
    try {
        // An observer of the name has given it another one.
        if (extension->getName() != name) _onExtensionRenamed(*extension, name);
    } catch (...) {
        static_cast<void>(_takeFromList(extension));
        throw;
    }
    return true;
}

/// After an addition for which there was not enough memory.
void KrObject::_takeBack(KrExtension& extension, const std::string& name) noexcept {
    if (extension.getOwner() == this) _removeExtension(&extension);
    try {
        if (extension.getOwner() == nullptr) extension.setName(name.c_str());
    } catch (const std::bad_alloc&) {  // the name that made it unique here stays
    }
}

void KrObject::_moveExtension(KrExtension& extension, std::uint64_t position) {
    std::shared_ptr<const HeldExtensions::List> outdated;  // released without the lock
    const std::lock_guard lock(_listMutex);
    auto [place, end] = _extensions->equal_range(extension._position);
    while (place != end && place->extension.get() != &extension)
        ++place;
    if (place == end) return;
    auto entry = *place;
    _extensions->erase(place);
    entry.position = position;
    _extensions->insert(std::move(entry));
    extension._position = position;
    _nextPosition = std::max(_nextPosition, position + 1);
    outdated.swap(_held);
}

void KrObject::_addExtensionToList(KrExtension* extension) {
    const auto self = keepAlive(*this);
    const Kr::KrSmartPtr<KrExtension> held(extension);
    const auto before = extension->getName();
    if (!_insert(extension)) {
        _logAddingFailed(extension);
        return;
    }
    extension->_setOwner(this);
    // Each callback may remove the extension; the remaining ones are not called then.
    if (auto* implementation = getObjectImplementation(); implementation != nullptr && extension->getOwner() == this) {
        Kr::callGuarded(
            detail::kOnExtensionAdded, [&] { return nameWhile(*this, "onExtensionAdded while adding", *extension); },
            [&] { implementation->onExtensionAdded(extension); }, this);
    }
    if (extension->getOwner() != this) return;
    const bool areNotified = _notifyListeners([&](Listener& listener) { listener.onExtensionAdded(this, extension); },
                                              [&](Listener& listener, const std::shared_ptr<Listener>& itsHolder) {
                                                  if (auto* child = asObject(extension))
                                                      child->_register(listener, itsHolder);
                                              });
    if (!areNotified) {
        _takeBack(*extension, before);
        throw std::bad_alloc();
    }
    const std::lock_guard lock(_listMutex);
    _savedPositions.erase(extension->getContentID().getRuntimeID());
}

void KrObject::_onExtensionRenamed(KrExtension& extension, const std::string& before) {
    if (std::exchange(_givenName, nullptr) == &extension) return;
    std::string name;
    {
        const std::lock_guard lock(_listMutex);
        _names.remove(before);
        name = _names.add(extension.getName());
    }
    if (name == extension.getName()) return;
    // This object is notified once more before all observers.
    _givenName = &extension;
    extension.setName(name.c_str());
    _givenName = nullptr;
}

// --- Removing ------------------------------------------------------------------------------------------------------

void KrObject::remove(KrExtension* extension) {
    if (extension == nullptr) return;
    // Membership is checked at the removal: an addition may be queued before.
    const auto removeLater = [&] {
        return [weak = Kr::KrWeakPtr<KrObject>(this), held = Kr::KrSmartPtr<KrExtension>(extension)] {
            const auto object = weak.lock();
            if (object && held->getOwner() == object.get()) object->_removeExtension(held.get());
        };
    };
    const auto remove = [&] {
        if (extension->getOwner() == this) _removeExtension(extension);
    };
    detail::changeContent(_holdApplication(), remove, removeLater);
}

void KrObject::remove(const KrSmartInterface<IExtension>& extension) {
    remove(extension.getExtension());
}

Kr::KrSmartPtr<KrExtension> KrObject::_takeFromList(KrExtension* extension) {
    std::shared_ptr<const HeldExtensions::List> outdated;  // released without the lock
    const std::lock_guard lock(_listMutex);
    // A position may be there more than once.
    auto [place, end] = _extensions->equal_range(extension->_position);
    while (place != end && place->extension.get() != extension)
        ++place;
    if (place == end) return {};
    _names.remove(extension->getName());
    auto held = place->extension;
    _extensions->erase(place);
    ++_changeCount;
    outdated.swap(_held);
    return held;
}

void KrObject::_removeExtension(KrExtension* extension) {
    const auto self = keepAlive(*this);
    const Kr::KrSmartPtr<KrExtension> held(extension);  // released last: it may die then
    // A callback of this removal may ask for it again.
    for (const auto* each = _leaving; each != nullptr; each = each->outer) {
        if (each->extension == extension) return;
    }
    Leaving leaving{extension, _leaving};
    _leaving = &leaving;
    if (auto* implementation = getObjectImplementation()) {
        Kr::callGuarded(
            detail::kOnExtensionRemoved,
            [&] { return nameWhile(*this, "onExtensionRemoved while removing", *extension); },
            [&] { implementation->onExtensionRemoved(extension); }, this);
    }
    extension->_setOwner(nullptr);
    const auto taken = _takeFromList(extension);
    _leaving = leaving.outer;
    extension->_setApplicationContext({});
    _notifyListeners([&](Listener& listener) { listener.onExtensionRemoved(this, extension); },
                     [&](Listener& listener, const std::shared_ptr<Listener>&) {
                         if (auto* child = asObject(extension)) child->unregisterListener(&listener);
                     });
}

// --- Listeners -----------------------------------------------------------------------------------------------------

namespace {

/// Ends the registration at the object and at all below it.
class HeldObjectListener final : public KrData::detail::DelegateRegistration {
public:
    HeldObjectListener(KrObject& object, std::shared_ptr<KrObject::Listener> listener, KrData::DelegateConnection own)
        : _object(&object), _listener(std::move(listener)), _own(std::move(own)) {}
    void disconnect() noexcept override {
        const auto listener = std::exchange(_listener, nullptr);
        if (const auto object = listener ? _object.lock() : nullptr) object->unregisterListener(listener.get());
        _own.disconnect();
    }
    [[nodiscard]] bool isConnected() const noexcept override { return _own.isConnected(); }

private:
    Kr::KrWeakPtr<KrObject> _object;
    std::shared_ptr<KrObject::Listener> _listener;
    KrData::DelegateConnection _own;  // the registration at the object itself
};

}  // namespace

template <class Call, class IfRecursive>
bool KrObject::_notifyListeners(const Call& call, const IfRecursive& ifRecursive) noexcept {
    bool isWhole = true;
    for (Kr::ListenerList<Listener>::Delivery delivery(_listeners); auto* listener = delivery.next();) {
        try {
            Kr::callGuardedButMemory(
                detail::kObjectListener, [this] { return getName(); }, [&] { call(*listener); });
            if (delivery.isStillListed() && listener->isRecursive()) ifRecursive(*listener, delivery.held());
        } catch (const std::bad_alloc&) {
            isWhole = false;
        }
    }
    return isWhole;
}

void KrObject::_register(Listener& listener, const std::shared_ptr<Listener>& held) {
    if (held ? _listeners.add(held) : _listeners.add(&listener)) _registerBelow(listener, held);
}

void KrObject::_registerBelow(Listener& listener, const std::shared_ptr<Listener>& held) {
    if (!listener.isRecursive()) return;
    try {
        for (const auto& extension : getExtensions()) {
            if (auto* child = asObject(extension.get())) child->_register(listener, held);
        }
    } catch (...) {
        unregisterListener(&listener);
        throw;
    }
}

void KrObject::registerListener(Listener* listener) {
    if (listener != nullptr) _register(*listener, nullptr);
}

KrData::DelegateConnection KrObject::holdListener(std::shared_ptr<Listener> listener) {
    auto own = _listeners.hold(listener);
    if (!own.isConnected()) return {};
    _registerBelow(*listener, listener);
    try {
        return KrData::DelegateConnection(Kr::makeSmart<HeldObjectListener>(*this, listener, std::move(own)));
    } catch (...) {
        unregisterListener(listener.get());
        throw;
    }
}

void KrObject::unregisterListener(Listener* listener) {
    if (!_listeners.remove(listener) || !listener->isRecursive()) return;
    for (std::size_t i = 0; const auto extension = _hold(i); ++i) {
        if (auto* child = asObject(extension.get())) child->unregisterListener(listener);
    }
}

// --- Access --------------------------------------------------------------------------------------------------------

HeldExtensions KrObject::getExtensions() const {
    constexpr std::size_t kAhead = 16;
    const std::lock_guard lock(_listMutex);
    if (_held) return HeldExtensions(_held);
    auto made = std::make_shared<HeldExtensions::List>();
    auto& extensions = *made;
    std::vector<KrExtension*> found;
    extensions.reserve(_extensions->size());
    found.reserve(_extensions->size());
    for (const auto& entry : *_extensions)
        found.push_back(entry.extension.get());
    // Each is somewhere else in memory: the processor fetches some while it counts the holders of others.
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (i + kAhead < found.size()) __builtin_prefetch(static_cast<const Kr::KrRefCount*>(found[i + kAhead]));
        extensions.emplace_back(found[i]);
    }
    _held = made;
    return HeldExtensions(std::move(made));
}

Kr::KrSmartPtr<KrExtension> KrObject::_hold(std::size_t index) const noexcept {
    const std::lock_guard lock(_listMutex);
    return index < _extensions->size() ? _extensions->nth(index)->extension : nullptr;
}

std::size_t KrObject::_getChangeCount() const noexcept {
    const std::lock_guard lock(_listMutex);
    return _changeCount;
}

std::uint64_t KrObject::_getNextPosition() const noexcept {
    const std::lock_guard lock(_listMutex);
    return _nextPosition;
}

std::size_t KrObject::getExtensionCount() const {
    const std::lock_guard lock(_listMutex);
    return _extensions->size();
}

KrExtension* KrObject::getExtension(std::size_t index) const {
    const std::lock_guard lock(_listMutex);
    return index < _extensions->size() ? _extensions->nth(index)->extension.get() : nullptr;
}

KrExtension* KrObject::findExtensionByName(const std::string& name, bool recursive) const {
    const auto extensions = getExtensions();
    for (const auto& extension : extensions) {
        if (extension->getName() == name) return extension.get();
    }
    if (!recursive) return nullptr;
    for (const auto& extension : extensions) {
        const auto* child = asObject(extension.get());
        if (auto* found = child != nullptr ? child->findExtensionByName(name, true) : nullptr) return found;
    }
    return nullptr;
}

namespace {

void collectByUuid(const KrObject& object, const KrUuid& uuid, bool recursive, Kr::KrArray<KrExtension*>& found) {
    for (const auto& extension : object.getExtensions()) {
        if (extension->getCreationKey().uuid == uuid) found.append(extension.get());
        const auto* child = recursive ? asObject(extension.get()) : nullptr;
        if (child != nullptr) collectByUuid(*child, uuid, true, found);
    }
}

/// The type of high-level interfaces.
const KrUuid& vhlInterfaceUuid() {
    static const KrUuid uuid("51A92D19-ABCB-41FD-AE79-7F1EAAFDCE47");
    return uuid;
}

}  // namespace

Kr::KrArray<KrExtension*> KrObject::findExtensionsByKey(const KrFactoryKey& key, bool recursive) const {
    Kr::KrArray<KrExtension*> found;
    const auto uuid = key.completed().uuid;
    if (!uuid.isNull()) collectByUuid(*this, uuid, recursive, found);
    return found;
}

Kr::KrArray<KrExtension*> KrObject::getAllVHLInterfaces() const {
    Kr::KrArray<KrExtension*> found;
    collectByUuid(*this, vhlInterfaceUuid(), false, found);
    return found;
}

std::size_t KrObject::getVHLInterfaceCount() const {
    return getAllVHLInterfaces().size();
}

KrExtension* KrObject::getVHLInterface(std::size_t index) const {
    const auto all = getAllVHLInterfaces();
    return index < all.size() ? all[index] : nullptr;
}

KrExtension* KrObject::findInterface(const std::string& name) const {
    for (auto* extension : getAllVHLInterfaces()) {
        if (extension->getName() == name) return extension;
    }
    Kr::logMessage(Kr::eLogLevel::kDebug, "KrObject::findInterface did not find '%s' in '%s'\n", name.c_str(),
                   getName().c_str());
    return nullptr;
}

// --- Messages and states of the whole tree -------------------------------------------------------------------------

std::string KrObject::getAllErrors(bool recursive) const {
    auto text = KrExtension::getAllErrors(recursive);
    for (const auto& extension : getExtensions())
        text += extension->getAllErrors(recursive);
    return text;
}

std::string KrObject::getAllInfos(bool recursive) const {
    auto text = KrExtension::getAllInfos(recursive);
    for (const auto& extension : getExtensions())
        text += extension->getAllInfos(recursive);
    return text;
}

bool KrObject::hasError(bool recursive) const {
    if (KrExtension::hasError(recursive)) return true;
    const auto extensions = getExtensions();
    return std::any_of(extensions.begin(), extensions.end(),
                       [&](const auto& extension) { return extension->hasError(recursive); });
}

bool KrObject::hasInfo(bool recursive) const {
    if (KrExtension::hasInfo(recursive)) return true;
    const auto extensions = getExtensions();
    return std::any_of(extensions.begin(), extensions.end(),
                       [&](const auto& extension) { return extension->hasInfo(recursive); });
}

void KrObject::fillSimulationState(Kr::KrSmartPtr<KrSimulationState> state) const {
    KrExtension::fillSimulationState(state);
    for (const auto& extension : getExtensions())
        extension->fillSimulationState(state);
}

}  // namespace KrSim
