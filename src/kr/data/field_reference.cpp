#include "kr/data/field_reference.h"

#include "kr/data/field_access.h"
#include "kr/data/field_base.h"

namespace KrData {

FieldReference::FieldReference(FieldBase* field) {
    if (field != nullptr && field->isValid()) _liveness = detail::FieldAccess::getLiveness(*field);
}

}  // namespace KrData
