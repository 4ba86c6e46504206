#pragma once

#include "kr/core/fwd.h"

namespace KrSim {
class IContentResolver;
class KrContentDirectory;
class KrContentID;
class KrContentReference;

namespace detail {
struct ContentIDAccess;
struct ContentLink;
}  // namespace detail
}  // namespace KrSim
