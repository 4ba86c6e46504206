#pragma once

#include "kr/platform/export.h"

// The one class of an upper layer that a signature of this layer must name; kr/core/fwd.h declares the others.

namespace KrSim {
class KR_API KrExtension;
}  // namespace KrSim
