#pragma once

#include "kr/platform/guard.h"

namespace KrSim::detail {

// Log lines for throwing callbacks of an object. The first %s of each is both names and the text between them, see
// nameWhile() in object.cpp.

inline constexpr Kr::GuardTexts kIsCompatible{Kr::eLogLevel::kWarn, "KrObject: fatal error in '%s'. [%s]\n",
                                              "KrObject: unhandled exception in '%s'.\n", "isCompatible"};
inline constexpr Kr::GuardTexts kOnExtensionAdded{Kr::eLogLevel::kDebug, "KrObject: fatal error in '%s'. [%s]\n",
                                                  "KrObject: unhandled exception in '%s'.\n", "onExtensionAdded"};
inline constexpr Kr::GuardTexts kOnExtensionRemoved{Kr::eLogLevel::kDebug, "KrObject: fatal error in '%s'. [%s]\n",
                                                    "KrObject: unhandled exception in '%s'.\n", "onExtensionRemoved"};
inline constexpr Kr::GuardTexts kObjectListener{Kr::eLogLevel::kWarn, "KrObject: fatal error in '%s' listener [%s]\n",
                                                "KrObject: unhandled exception in '%s' listener\n", "object listener"};

}  // namespace KrSim::detail
