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

/// What a setup keeps of one module. A module itself cannot be held by an object, so a setup holds a plain extension of
/// the same name for each, with parameters of these meanings.
struct ModuleRecord {
    std::string name{};
    KrFactoryKey key{};
    KrContentID contentID{};                       ///< that a module gets which is made from the record; empty: any
    const KrData::Container* settings{nullptr};    ///< parameters of the module; borrowed from the extension
    const KrData::Container* properties{nullptr};  ///< of the module, likewise; see ExtensionProperties
};

/// What the extension records; nothing when it is no such record.
[[nodiscard]] KR_API std::optional<ModuleRecord> readModuleRecord(const KrExtension& extension);

/// The extension for a setup, with copies of the settings and properties. Null is none.
[[nodiscard]] KR_API Kr::KrSmartPtr<KrExtension> makeModuleRecord(const ModuleRecord& record);

}  // namespace KrSim
