#pragma once

#include "kr/extension/i_extension.h"
#include "kr/extension/i_object.h"

namespace KrSim {

/// Implementation of a type that carries data only: the code that makes the extension adds its fields, and it copies,
/// saves and loads them. It has no behaviour.
///
/// \tparam Type  any class; it makes one implementation class of each type.
template <class Type>
class KrDataExtension : public IExtension {
public:
    static constexpr int kVersion = 1;
    explicit KrDataExtension(KrExtension* proxy) : IExtension(proxy, kVersion) {}
};

/// The same as an object: it holds extensions and child objects of every kind.
template <class Type>
class KrDataObject : public IObject {
public:
    static constexpr int kVersion = 1;
    explicit KrDataObject(KrObject* proxy) : IObject(proxy, kVersion) {}
    [[nodiscard]] bool isCompatible(KrExtension* extension) const override { return extension != nullptr; }
};

}  // namespace KrSim
