#pragma once

#include <string>

#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// What fields must ask of an extension, which is only a declared class down here. The extension layer installs its
/// answers once, when the library is loaded; before that every answer is none. Every function gets a living extension.
struct KR_API ExtensionFunctions {
    /// The implementation half, null when there is none.
    KrSim::IExtension* (*getImplementation)(KrSim::KrExtension*) = nullptr;
    /// The same object as base object, whose address the liveness registry knows.
    Kr::KrBase* (*asBase)(KrSim::KrExtension*) = nullptr;
    std::string (*getName)(KrSim::KrExtension*) = nullptr;
    std::string (*getTypeName)(KrSim::KrExtension*) = nullptr;
    /// The top container of its fields.
    Container* (*getFields)(KrSim::KrExtension*) = nullptr;
    /// Its name behind those of the objects above it.
    std::string (*getPath)(KrSim::KrExtension*) = nullptr;

    /// Replaces the table; null takes it away. Before other threads use fields.
    static void _install(const ExtensionFunctions* functions) noexcept;

    [[nodiscard]] static KrSim::IExtension* implementationOf(KrSim::KrExtension* extension);
    [[nodiscard]] static Kr::KrBase* baseOf(KrSim::KrExtension* extension);
    /// Empty for null and where nothing is installed.
    [[nodiscard]] static std::string nameOf(KrSim::KrExtension* extension);
    [[nodiscard]] static std::string typeNameOf(KrSim::KrExtension* extension);
    /// Null for null and where nothing is installed.
    [[nodiscard]] static Container* fieldsOf(KrSim::KrExtension* extension);
    /// Empty for null and where nothing is installed.
    [[nodiscard]] static std::string pathOf(KrSim::KrExtension* extension);
};

}  // namespace KrData
