#pragma once

#include <optional>
#include <string>

#include "kr/content/content_id.h"
#include "kr/data/fwd.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// The record of one module in a setup. A module itself cannot be part of an object, so a setup has a plain extension
/// of the same name for each, with parameters of these meanings.
struct ModuleRecord {
    std::string name{};
    KrFactoryKey key{};
    KrContentID contentID{};                       ///< for a module that is created from the record; empty: any
    const KrData::Container* settings{nullptr};    ///< parameters of the module; borrowed from the extension
    const KrData::Container* properties{nullptr};  ///< of the module, borrowed likewise; see ExtensionProperties
};

/// The record in an extension; empty for an extension that is no record.
[[nodiscard]] KR_API std::optional<ModuleRecord> readModuleRecord(const KrExtension& extension);

/// The extension for a setup, with copies of the settings and properties. Null when it cannot be created.
[[nodiscard]] KR_API Kr::KrSmartPtr<KrExtension> makeModuleRecord(const ModuleRecord& record);

}  // namespace KrSim
