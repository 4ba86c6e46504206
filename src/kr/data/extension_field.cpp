#include "kr/data/extension_field.h"

#include "kr/data/container.h"
#include "kr/data/container_access.h"

namespace KrData {

ExtensionField::ExtensionField(const Kr::KrID& id, const Kr::KrID& interfaceId, Container* parent)
    : Field(Detached{}, id), _interfaceId(interfaceId) {
    _attachTo(parent);
}

ExtensionField::ExtensionField(const ExtensionField& source) = default;
ExtensionField::~ExtensionField() {
    _detachFromEverything();
}

bool ExtensionField::accepts(KrSim::KrExtension* extension) const {
    return Types::extensionIsInterfaceFieldType(extension, _interfaceId);
}

ExtensionField* ExtensionField::_duplicate() const {
    auto* copy = new ExtensionField(*this);
    copy->_setDynamic(true);
    return copy;
}

ExtensionField* ExtensionField::clone(const Kr::KrID& id, Container* parent) const {
    return detail::ContainerAccess::adoptAs(id, _duplicate(), parent);
}

ExtensionField* ExtensionField::clone(Container* parent) const {
    return clone(getID(), parent);
}

void ExtensionField::_cloneFrom(const FieldBase& source) {
    Field::_cloneFrom(source);
    if (const auto* same = dynamic_cast<const ExtensionField*>(&source)) _interfaceId = same->_interfaceId;
}

}  // namespace KrData
