#pragma once

#include "kr/core/fwd.h"

namespace Kr::detail {

/// Registers the enumerations of this layer and of the layers below. The table calls it before its first use, so that
/// static objects find them independent of the order in which files are initialised.
void registerBuiltInEnumerations(KrSim::KrEnumTable& table);

}  // namespace Kr::detail
