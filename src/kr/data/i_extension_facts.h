#pragma once

#include <string>

#include "kr/data/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/upper_layer.h"

namespace KrData {

/// What fields must ask of an extension, which is only a declared class down here. The layer of extensions implements
/// it. Every function gets a living extension.
class KR_API IExtensionFacts {
public:
    /// The implementation half, null when there is none.
    [[nodiscard]] virtual KrSim::IExtension* getImplementation(KrSim::KrExtension& extension) const;
    /// The same object as base object, whose address the liveness registry knows.
    [[nodiscard]] virtual Kr::KrBase* asBase(KrSim::KrExtension& extension) const;
    [[nodiscard]] virtual std::string getName(KrSim::KrExtension& extension) const;
    [[nodiscard]] virtual std::string getTypeName(KrSim::KrExtension& extension) const;
    /// The top container of its fields.
    [[nodiscard]] virtual Container* getFields(KrSim::KrExtension& extension) const;
    /// Its name behind those of the objects above it.
    [[nodiscard]] virtual std::string getPath(KrSim::KrExtension& extension) const;

    // The answers; null or empty for null and where nothing is installed:
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
