#pragma once

#include "kr/extension/i_extension.h"
#include "kr/extension/i_object.h"

namespace KrSim {

/// Implementation of a type that only has data: the code that creates the extension adds its fields, which are copied,
/// saved and loaded. It has no behaviour.
///
/// \tparam Type  any class, to distinguish the implementation classes of several types.
template <class Type>
class KrDataExtension : public IExtension {
public:
    static constexpr int kVersion = 1;
    explicit KrDataExtension(KrExtension* proxy) : IExtension(proxy, kVersion) {}
};

/// The same as an object: it accepts extensions and child objects of every kind.
template <class Type>
class KrDataObject : public IObject {
public:
    static constexpr int kVersion = 1;
    explicit KrDataObject(KrObject* proxy) : IObject(proxy, kVersion) {}
    [[nodiscard]] bool isCompatible(KrExtension* extension) const override { return extension != nullptr; }
};

}  // namespace KrSim
