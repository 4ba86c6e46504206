#include "kr/data/vector_item_base.h"

#include <string>

#include "kr/data/field_access.h"
#include "kr/data/vector_base.h"

namespace KrData {

VectorItemBase::VectorItemBase(VectorBase& vector, std::size_t index)
    : FieldBase(Kr::KrID(std::to_string(index)), Types::kVectorItem), _vector(&vector), _index(index) {}

VectorItemBase::~VectorItemBase() {
    _detachFromEverything();
}

VectorBase* VectorItemBase::getVector() const noexcept {
    return static_cast<VectorBase*>(_vector.get());
}

bool VectorItemBase::hasItem() const noexcept {
    const auto* vector = getVector();
    return vector != nullptr && _index < vector->size();
}

FieldBase* VectorItemBase::_duplicate() const {
    return nullptr;
}
FieldBase* VectorItemBase::clone(const Kr::KrID&, Container*) const {
    return nullptr;
}
FieldBase* VectorItemBase::clone(Container*) const {
    return nullptr;
}
bool VectorItemBase::copyValue(const FieldBase&) {
    return false;
}

KrSim::KrExtension* VectorItemBase::getOwnerExtension() const {
    const auto* vector = getVector();
    return vector != nullptr ? vector->getOwnerExtension() : nullptr;
}

Types::FieldTypeEnum VectorItemBase::getFieldType() const {
    const auto* vector = getVector();
    return vector != nullptr ? vector->getFieldType() : Types::kField;
}

IFieldOwner* VectorItemBase::_getFieldOwner() const {
    const auto* vector = getVector();
    return vector != nullptr ? detail::FieldAccess::getFieldOwner(*vector) : nullptr;
}

const FieldBase* VectorItemBase::_getHolder() const noexcept {
    return getVector();
}

}  // namespace KrData
