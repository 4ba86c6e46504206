#include "kr/persistence/fields/internal/untyped_field_array.h"

namespace KrPersistence::detail {

using KrData::Types;

UntypedFieldArray::UntypedFieldArray(const Kr::KrID& id, Types::FieldTypeEnum fieldType)
    : FieldArrayBase(id, fieldType) {}

UntypedFieldArray::UntypedFieldArray(const UntypedFieldArray& source)
    : FieldArrayBase(source.getID(), source.getFieldType()) {
    UntypedFieldArray::_cloneFrom(source);
    _setDynamic(false);
}

UntypedFieldArray::~UntypedFieldArray() {
    _detachFromEverything();
}

UntypedFieldArray* UntypedFieldArray::_duplicate() const {
    auto* copy = new UntypedFieldArray(*this);
    copy->_setDynamic(true);
    return copy;
}

UntypedFieldArray* UntypedFieldArray::clone(const Kr::KrID& id, KrData::Container* parent) const {
    return _adoptAs(id, _duplicate(), parent);
}

UntypedFieldArray* UntypedFieldArray::clone(KrData::Container* parent) const {
    return clone(getID(), parent);
}

KrData::FieldBase* UntypedFieldArray::_makeItem(const Kr::KrID& id) const {
    auto* made = empty() ? nullptr : Types::_make(getChildren().front()->getDataType(), id, getFieldType());
    return made != nullptr ? made : new Container(id, nullptr, getFieldType());
}

}  // namespace KrPersistence::detail
