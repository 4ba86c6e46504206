#include "kr/extension/i_object.h"

#include "kr/extension/object.h"
#include "kr/extension/smart_interface.h"

namespace KrSim {

IObject::IObject(KrObject* proxy, int version) : IExtension(proxy, version), _object(proxy) {}
IObject::~IObject() = default;

bool IObject::isCompatible(KrExtension* extension) const {
    return extension == nullptr || extension->getImplementationAs<IObject>() == nullptr;
}

bool IObject::onExtensionAdded(KrExtension*) {
    return true;
}
void IObject::onExtensionRemoved(KrExtension*) {}
void IObject::buildHierarchy() {}

bool IObject::add(const KrSmartInterface<IExtension>& extension) {
    return _object != nullptr && _object->add(extension);
}

void IObject::remove(const KrSmartInterface<IExtension>& extension) {
    if (_object != nullptr) _object->remove(extension);
}

KrExtension* IObject::findExtensionByName(const std::string& name, bool recursive) const {
    return _object != nullptr ? _object->findExtensionByName(name, recursive) : nullptr;
}

Kr::KrArray<KrExtension*> IObject::findExtensionsByKey(const KrFactoryKey& key, bool recursive) const {
    return _object != nullptr ? _object->findExtensionsByKey(key, recursive) : Kr::KrArray<KrExtension*>();
}

}  // namespace KrSim
