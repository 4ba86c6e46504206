#pragma once

namespace KrSim::detail {

/// Lets references ("base://") find the extensions that an object holds. Answers whether it was done here.
bool registerObjectNamePath();

}  // namespace KrSim::detail
