#include "kr/content/content_reference.h"

#include "kr/content/content_directory.h"
#include "kr/content/i_content_resolver.h"
#include "kr/content/internal/content_link.h"
#include "kr/platform/ref_count_access.h"

namespace KrSim {

KrContentReference::KrContentReference() noexcept = default;

// The ones with a target begin as empty ones, so that they are destroyed where there is no memory for the target.
KrContentReference::KrContentReference(KrExtension* extension) : KrContentReference() {
    setTarget(extension);
}

KrContentReference::KrContentReference(const KrContentID& id) : KrContentReference() {
    setTarget(id);
}

KrContentReference::KrContentReference(const KrContentReference& other) : KrContentReference() {
    _copyTarget(other);
}

KrContentReference& KrContentReference::operator=(const KrContentReference& other) {
    if (this != &other) _copyTarget(other);
    return *this;
}

KrContentReference::KrContentReference(KrContentReference&& other) noexcept
    : _link(std::exchange(other._link, nullptr)) {}

KrContentReference& KrContentReference::operator=(KrContentReference&& other) noexcept {
    if (this == &other) return *this;
    _close();
    _link = std::exchange(other._link, nullptr);
    return *this;
}

KrContentReference::~KrContentReference() {
    _close();
}

void KrContentReference::_close() noexcept {
    if (!_link) return;
    detail::ContentLink* const link = std::exchange(_link, nullptr);
    KrContentDirectory::close(*link);
    Kr::detail::RefCountAccess::release(*link);
}

detail::ContentLink& KrContentReference::_makeLink() {
    if (!_link) {
        _link = new detail::ContentLink;
        Kr::detail::RefCountAccess::addRef(*_link);
    }
    return *_link;
}

// Target

KrExtension* KrContentReference::get() const noexcept {
    return _link ? _link->target.load(std::memory_order_acquire) : nullptr;
}

KrContentReference::Held KrContentReference::_hold() const {
    return _link ? KrContentDirectory::hold(*_link) : Held();
}

KrContentID KrContentReference::getContentID() const {
    return _link ? KrContentDirectory::idOf(*_link) : KrContentID();
}

bool KrContentReference::isEmpty() const {
    return !get() && getContentID().isEmpty();
}

void KrContentReference::_connect(const KrContentID& id, const Held& preferred) {
    KrContentDirectory::connect(_makeLink(), id, preferred);
}

void KrContentReference::setTarget(const KrContentID& id) {
    if (!_link && id.isEmpty()) return;
    _connect(id, {});
}

void KrContentReference::setTarget(KrExtension* extension) {
    const IContentResolver* resolver = Kr::UpperLayer<IContentResolver>::get();
    if (!extension || !resolver) return reset();
    // A weak reference forms no holder: letting go of the first one would destroy the extension.
    Kr::KrSmartPtr<Kr::KrRefCount> holder(isStrongReference() ? resolver->asRefCount(extension) : nullptr);
    _connect(resolver->getContentID(extension), {extension, std::move(holder)});
}

void KrContentReference::reset() {
    setTarget(KrContentID());
}

void KrContentReference::_copyTarget(const KrContentReference& other) {
    const bool isStrong = other.isStrongReference();
    if (!_link && !other._link) return;
    enableStrongReference(isStrong);
    Held target = isStrong ? other._hold() : Held();
    if (!target.first) target.first = other.get();  // only compared with those in the directory
    _connect(other.getContentID(), target);
    if (!other.isConnectedToRegistry()) disconnectFromRegistry();
}

// Strength

void KrContentReference::enableStrongReference(bool enable) {
    if (enable || _link) KrContentDirectory::setStrong(_makeLink(), enable);
}

bool KrContentReference::isStrongReference() const {
    return _link && KrContentDirectory::isStrong(*_link);
}

// Registry

void KrContentReference::connectToRegistry() {
    if (!_link || isConnectedToRegistry()) return;
    Held target = isStrongReference() ? _hold() : Held();
    _connect(getContentID(), target);
}

void KrContentReference::disconnectFromRegistry() {
    if (_link) KrContentDirectory::disconnect(*_link);
}

bool KrContentReference::isConnectedToRegistry() const {
    return _link && KrContentDirectory::isConnected(*_link);
}

bool KrContentReference::onExtensionRegistered(KrExtension* extension) {
    const IContentResolver* resolver = Kr::UpperLayer<IContentResolver>::get();
    if (!extension || !resolver) return false;
    if (!get() && resolver->getContentID(extension) == getContentID()) setTarget(extension);
    return get() == extension;
}

void KrContentReference::setObserver(Observer observer) {
    if (observer || _link) KrContentDirectory::setObserver(_makeLink(), std::move(observer));
}

}  // namespace KrSim
