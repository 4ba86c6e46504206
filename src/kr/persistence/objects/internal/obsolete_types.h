#pragma once

#include "kr/extension/extension.h"
#include "kr/extension/factory_key.h"
#include "kr/persistence/objects/internal/content_records.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence::detail {

/// Whether the type, or its replacement, is registered. Loads no plug-in.
[[nodiscard]] bool isTypeThere(const KrSim::KrFactoryKey& key);

/// Makes an extension of the saved type or, with the record changed to fit, of the type that replaces it. Loads the
/// plug-in of the saved type when it is missing. Null when the record must wait for its type.
[[nodiscard]] Kr::KrSmartPtr<KrSim::KrExtension> createOrReplace(ExtensionRecord& record);

}  // namespace KrPersistence::detail
