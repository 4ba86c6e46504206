#pragma once

#include "kr/extension/object.h"

namespace KrPersistence::detail {

/// The member of the field that holds the name; "Name" is the name itself.
inline constexpr const char* kNameField = "NameField";

/// The extension as an object; null for null and for other extensions.
inline KrSim::KrObject* asObject(KrSim::KrExtension* extension) {
    return extension != nullptr && extension->isOfClassType(KrSim::KrObject::getClassType())
               ? static_cast<KrSim::KrObject*>(extension)
               : nullptr;
}

}  // namespace KrPersistence::detail
