#pragma once

#include <span>

#include "kr/extension/factory/extension_factory.h"
#include "kr/platform/export.h"

namespace KrSim::detail {

/// Registers all types or, with a warning about the first refused one, none.
KR_API bool registerTypes(std::span<const KrExtensionFactory::TypeDescription> types);
/// Withdraws those types that are registered as described here, so none that another plug-in registered under the
/// same uuid. All of them or, with a warning about the first one with instances, none.
KR_API bool unregisterTypes(std::span<const KrExtensionFactory::TypeDescription> types);

}  // namespace KrSim::detail
