#include "kr/data/field_reference.h"

#include "kr/data/field_base.h"

namespace KrData {

namespace detail {
FieldLiveness::~FieldLiveness() = default;
}  // namespace detail

FieldReference::FieldReference(FieldBase* field) {
    if (field != nullptr && field->isValid()) _liveness = Kr::KrSmartPtr<detail::FieldLiveness>(&field->_getLiveness());
}

}  // namespace KrData
