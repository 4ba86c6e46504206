#pragma once

#include "kr/platform/guard.h"

namespace KrPersistence::detail {

// Log lines for implementations that throw while content is saved or loaded.

inline constexpr Kr::GuardTexts kOnSaving{Kr::eLogLevel::kWarn, "IExtension: '%s' fatal error onSaving() [%s]\n",
                                          "IExtension: '%s' unhandled exception onSaving()\n", "onSaving"};
inline constexpr Kr::GuardTexts kOnRestoringConnection{
    Kr::eLogLevel::kWarn, "KrExtension: fatal error in '%s' onRestoringConnection() [%s]\n",
    "KrExtension: unhandled exception in '%s' onRestoringConnection()\n", "onRestoringConnection"};
inline constexpr Kr::GuardTexts kBuildHierarchy{
    Kr::eLogLevel::kWarn, "KrObject: fatal error in '%s' buildHierarchy() [%s]\n",
    "KrObject: unhandled exception in '%s' buildHierarchy()\n", "buildHierarchy"};
inline constexpr Kr::GuardTexts kSync{Kr::eLogLevel::kWarn, "KrObject: fatal error in '%s' sync() [%s]\n",
                                      "KrObject: unhandled exception in '%s' sync()\n", "sync"};
inline constexpr Kr::GuardTexts kConnect{Kr::eLogLevel::kWarn, "KrObjectSection: cannot connect '%s' [%s]\n",
                                         "KrObjectSection: cannot connect '%s'\n", "connect"};

}  // namespace KrPersistence::detail
