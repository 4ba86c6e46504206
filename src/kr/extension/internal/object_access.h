#pragma once

#include <cstddef>
#include <vector>

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

/// Keeps an object alive during callbacks; one without a holder, on the stack say, stays as it is.
inline Kr::KrSmartPtr<KrObject> keepAlive(KrObject& object) {
    return Kr::KrSmartPtr<KrObject>(object.getRefCount() > 0 ? &object : nullptr);
}

/// The extension and all below it, level by level: the extensions of one object lie side by side. Borrowed. Without
/// recursion, as all walks over content: objects may lie as deep inside one another as they like.
[[nodiscard]] inline std::vector<KrExtension*> collectTree(const KrExtension& top) {
    std::vector<KrExtension*> all{const_cast<KrExtension*>(&top)};
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto* object = asObject(all[i]);
        if (object == nullptr) continue;
        for (const auto& below : object->_getExtensions())
            all.push_back(below.get());
    }
    return all;
}

}  // namespace KrSim::detail
