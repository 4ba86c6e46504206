#pragma once

#include <string>

#include "kr/data/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/upper_layer.h"

namespace KrData {

/// What fields must know about an extension, which is only a declared class in this layer. The layer of extensions
/// implements it. Every function takes a living extension.
/// Thread: that of the extension. Ownership: none.
class KR_API IExtensionFacts {
public:
    /// The implementation half, null without one.
    [[nodiscard]] virtual KrSim::IExtension* getImplementation(KrSim::KrExtension& extension) const;
    /// The extension as base object, whose address the liveness registry has.
    [[nodiscard]] virtual Kr::KrBase* asBase(KrSim::KrExtension& extension) const;
    [[nodiscard]] virtual std::string getName(KrSim::KrExtension& extension) const;
    [[nodiscard]] virtual std::string getTypeName(KrSim::KrExtension& extension) const;
    /// The top container of its fields.
    [[nodiscard]] virtual Container* getFields(KrSim::KrExtension& extension) const;
    /// The names of the objects above it and its own.
    [[nodiscard]] virtual std::string getPath(KrSim::KrExtension& extension) const;

    // The same for any pointer; null or empty for null, and before an implementation is installed:
    [[nodiscard]] static KrSim::IExtension* implementationOf(KrSim::KrExtension* extension);
    [[nodiscard]] static Kr::KrBase* baseOf(KrSim::KrExtension* extension);
    [[nodiscard]] static std::string nameOf(KrSim::KrExtension* extension);
    [[nodiscard]] static std::string typeNameOf(KrSim::KrExtension* extension);
    [[nodiscard]] static Container* fieldsOf(KrSim::KrExtension* extension);
    [[nodiscard]] static std::string pathOf(KrSim::KrExtension* extension);

protected:
    ~IExtensionFacts() = default;
};

}  // namespace KrData

extern template class KR_API Kr::UpperLayer<KrData::IExtensionFacts>;
