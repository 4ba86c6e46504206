// How an extension is copied: fields first, then links and connections among the copies, then values, which transfers
// may have changed, then onSynchronized.

#include <utility>

#include "kr/data/container.h"
#include "kr/data/field_access.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/extension_guards.h"
#include "kr/extension/kept_content.h"
#include "kr/extension/object.h"
#include "kr/extension/upper_layers.h"

namespace KrSim {

using KrData::detail::FieldAccess;

Kr::KrSmartPtr<KrExtension> KrExtension::clone() const {
    return _cloneAll(KrContentID::createUnique(), nullptr);
}

Kr::KrSmartPtr<KrExtension> KrExtension::clone(const KrContentID& id) const {
    return _cloneAll(id, nullptr);
}

Kr::KrSmartPtr<KrExtension> KrExtension::clone(const KrCloneFilter& filter) const {
    return _cloneAll(KrContentID::createUnique(), filter ? &filter : nullptr);
}

Kr::KrSmartPtr<KrExtension> KrExtension::_cloneAll(const KrContentID& id, const KrCloneFilter* filter) const {
    KrCloneMap clones;
    KrCloneRequest request;
    request.contentID = id;
    request.clones = &clones;
    request.filter = filter;
    request.isPlacing = !id.getParentInstances().empty();
    request.synchronize = false;  // once for each clone, when all are complete
    auto made = _clone(request);
    if (!made) return made;
    clones._redirectDefinitions();
    clones._complete();
    clones._synchronizeImplementations();
    return made;
}

Kr::KrSmartPtr<KrExtension> KrExtension::_clone(const KrCloneRequest& request) const {
    if (request.clones->find(this) != nullptr) return {};
    if (request.filter != nullptr && !(*request.filter)(this)) return {};
    auto made = _makeClone();
    if (!made) return made;

    auto& registry = KrContentRegistry::instance();
    registry.unregisterExtension(made.get());
    made->_setContentID(request.contentID);
    _copyTo(made.get(), request.copyFields);
    // As after a load: what could not be made again must not pass for a whole copy.
    if (_hasImplementation && !made->_hasImplementation && !_creationKey.isNull()) {
        made->addError("Unable to create " + _creationKey.toString(), false);
    }
    if (request.registerContent) registry.registerExtension(made.get());

    // The owner's rules are those of every other addition.
    if (request.owner != nullptr && !request.owner->add(made.get())) return {};
    request.clones->add(this, made.get());
    if (request.synchronize) made->_synchronizeImplementation(_implementation);
    return made;
}

Kr::KrSmartPtr<KrExtension> KrExtension::_makeClone() const {
    if (_isUnknown) {  // only keeps data: nothing may come between
        auto made = Kr::makeSmart<KrExtension>();
        made->_createUnknownImplementation();
        return made;
    }
    auto made = _creationKey.isNull() ? Kr::KrSmartPtr<KrExtension>()
                                      : Kr::UpperLayer<IExtensionMaker>::get()->create(_creationKey);
    return made ? made : Kr::makeSmart<KrExtension>();
}

void KrExtension::_copyTo(KrExtension* target, bool copyFields) const {
    if (!hasName()) const_cast<KrExtension*>(this)->setName(nullptr);
    target->setName(getName().c_str());
    target->_setCreationKey(_creationKey);
    if (copyFields) {
        target->_fields->_loadFrom(*_fields, {.withDeclarations = true, .withoutLinks = true});
        auto& name = target->_fields->getNameField();
        FieldAccess::takeDeclaration(name, _fields->getNameField());
        FieldAccess::replaceInternal(name, FieldAccess::getInternalIfAny(_fields->getNameField()));
    }
    target->_dataVersion = _dataVersion;
    target->_implementationVersion = _implementationVersion;
    target->_versions = _versions;
    // Bytes that no implementation has read are the content of an extension whose plug-in is missing.
    if (!_hasImplementation) target->_extensionData = _extensionData;
    if (copyFields && _keptContent) _keptContent->_copyTo(*target);
}

void KrExtension::_synchronizeImplementation(const IExtension* source) {
    if (!_hasImplementation || source == nullptr || !source->hasImplementation()) return;
    Kr::callGuarded(
        detail::kOnSynchronized, [this] { return getName(); }, [&] { _implementation->onSynchronized(*source); }, this);
}

}  // namespace KrSim
