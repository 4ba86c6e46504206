#pragma once

#include "kr/extension/extension.h"
#include "kr/extension/factory_key.h"
#include "kr/persistence/objects/internal/content_records.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence::detail {

/// Whether the type, or the one that has taken its place, is registered. Loads nothing.
[[nodiscard]] bool isTypeThere(const KrSim::KrFactoryKey& key);

/// Makes an extension of the saved type or, with the record changed to suit, of the type that has taken its place.
/// Loads the plug-in of the saved type where that is missing. Null where the record has to wait for its type.
[[nodiscard]] Kr::KrSmartPtr<KrSim::KrExtension> createOrReplace(ExtensionRecord& record);

}  // namespace KrPersistence::detail
