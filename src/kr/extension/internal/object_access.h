#pragma once

#include "kr/extension/object.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim::detail {

/// The extension as an object; null for null and for other extensions.
inline KrObject* asObject(KrExtension* extension) {
    return extension != nullptr && extension->isOfClassType(KrObject::getClassType())
               ? static_cast<KrObject*>(extension)
               : nullptr;
}
inline const KrObject* asObject(const KrExtension* extension) {
    return asObject(const_cast<KrExtension*>(extension));
}

/// Keeps an object alive during callbacks; one that nobody holds, on the stack say, stays as it is.
inline Kr::KrSmartPtr<KrObject> keepAlive(KrObject& object) {
    return Kr::KrSmartPtr<KrObject>(object.getRefCount() > 0 ? &object : nullptr);
}

}  // namespace KrSim::detail
