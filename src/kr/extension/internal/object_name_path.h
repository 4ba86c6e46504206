#pragma once

namespace KrSim::detail {

/// Lets references ("base://") find the extensions of an object. Returns whether this call registered it.
bool registerObjectNamePath();

}  // namespace KrSim::detail
