#include "kr/extension/extension_properties.h"

#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/field_internal.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"

namespace KrSim {

using KrData::detail::ContainerAccess;
using KrData::detail::FieldAccess;

namespace {

KrData::FieldInternal* hiddenFieldsOf(const KrExtension& extension) noexcept {
    return FieldAccess::getInternalIfAny(extension.getFieldsContainer().getNameField());
}

void drop(KrData::FieldInternal& hidden) {
    hidden.removeField(ExtensionProperties::_getStoreID());
    if (hidden.get() != nullptr && hidden.get()->empty()) ContainerAccess::setHiddenFields(hidden, nullptr);
}

}  // namespace

// A hidden field of the name: every kind of archive and every copy has those, and earlier releases keep them, too.
const Kr::KrID& ExtensionProperties::_getStoreID() {
    static const Kr::KrID id("ExtensionProperties");
    return id;
}

KrData::Container* ExtensionProperties::find(const KrExtension& extension) noexcept {
    const auto* hidden = hiddenFieldsOf(extension);
    if (hidden == nullptr) return nullptr;
    auto& store = hidden->getField(_getStoreID());
    const bool isStore = store.getDataType() == KrData::Types::kContainer && !store.isFieldArray();
    return isStore ? static_cast<KrData::Container*>(&store) : nullptr;
}

KrData::Container& ExtensionProperties::of(KrExtension& extension) {
    if (auto* store = find(extension)) return *store;
    auto& hidden = extension.getFieldsContainer().getNameField().getInternal();
    hidden.removeField(_getStoreID());  // a file may have a field of another kind there
    return static_cast<KrData::Container&>(*hidden.addField(_getStoreID(), KrData::Types::kContainer));
}

bool ExtensionProperties::remove(KrExtension& extension, const Kr::KrID& name) {
    auto* store = find(extension);
    if (store == nullptr || !store->removeField(name)) return false;
    if (store->empty()) drop(*hiddenFieldsOf(extension));
    return true;
}

void ExtensionProperties::_replace(KrExtension& extension, const KrData::Container* properties) {
    if (auto* hidden = hiddenFieldsOf(extension)) drop(*hidden);
    if (properties != nullptr && !properties->empty()) properties->copyFieldsTo(&of(extension));
}

}  // namespace KrSim
