#pragma once

#include "kr/extension/object.h"

namespace KrPersistence::detail {

/// Stands behind the name of a field whose value is written elsewhere.
inline constexpr const char* kMarks = "Marks";
inline constexpr const char* kNameMarks = "NameMarks";

/// The extension as an object; null for null and for other extensions.
inline KrSim::KrObject* asObject(KrSim::KrExtension* extension) {
    return extension != nullptr && extension->isOfClassType(KrSim::KrObject::getClassType())
               ? static_cast<KrSim::KrObject*>(extension)
               : nullptr;
}

/// What a field carries beside its value.
inline void takeMarks(KrData::FieldBase& field, const KrData::FieldBase& source) {
    if (const auto* internal = source._getInternalIfAny()) field._replaceInternal(internal);
    if (!source.getDescription().empty()) field.setDescription(source.getDescription());
}

}  // namespace KrPersistence::detail
