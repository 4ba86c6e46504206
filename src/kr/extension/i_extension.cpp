#include "kr/extension/i_extension.h"

#include "kr/application/context/application_context.h"
#include "kr/data/container.h"
#include "kr/extension/extension.h"
#include "kr/extension/i_object.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/smart_interface.h"
#include "kr/platform/log.h"

namespace KrSim {

IExtension::IExtension(KrExtension* proxy, int version) : _proxy(proxy), _version(version) {
    if (_proxy == nullptr) {
        Kr::logErrorNoThrow("IExtension can't be created with a NULL proxy.\n");
        return;
    }
    _proxy->_setIExtension(this);
}

IExtension::~IExtension() {
    // For a derived constructor that throws: the proxy must not keep, or destroy, the dead implementation.
    if (_proxy != nullptr) _proxy->_forgetImplementation(this);
}

void IExtension::onActive() {}
void IExtension::onInactive() {}
void IExtension::onAddToOwner(KrObject*) {}
void IExtension::onRemoveFromOwner(KrObject*) {}
void IExtension::onLoaded(std::istream&, int) {}
void IExtension::onSaving(std::ostream&) {}
void IExtension::onLoading(KrData::Container&, int) {}
std::pair<KrData::FieldBase*, KrData::FieldBase*> IExtension::onRestoringConnection(KrExtension*, const std::string&,
                                                                                    int, bool) {
    return {nullptr, nullptr};
}
void IExtension::onStateSave(std::ostream&) {}
void IExtension::onStateRestore(std::istream&) {}
void IExtension::onSynchronized(const IExtension&) {}

std::string IExtension::getName() const {
    return _proxy != nullptr ? _proxy->getFieldsContainer().getNameField().getValue() : std::string();
}

void IExtension::setName(const std::string& name) {
    if (_proxy != nullptr) _proxy->setName(name.c_str());
}

KrSmartInterface<IObject> IExtension::getParent() const {
    auto* owner = _proxy != nullptr ? _proxy->getOwner() : nullptr;
    return KrSmartInterface<IObject>(owner != nullptr ? owner->getObjectImplementation() : nullptr);
}

ApplicationContext IExtension::getApplicationContext() const {
    return _proxy != nullptr ? _proxy->getApplicationContext() : ApplicationContext();
}

bool IExtension::hasImplementation() const noexcept {
    return _proxy != nullptr && _proxy->hasImplementation();
}

}  // namespace KrSim
