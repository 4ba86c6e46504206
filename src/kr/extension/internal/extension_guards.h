#pragma once

#include "kr/platform/guard.h"

namespace KrSim::detail {

// Log lines for throwing callbacks of an implementation. The texts differ in form; readers of logs depend on them.

inline constexpr Kr::GuardTexts kOnAddToOwner{
    Kr::eLogLevel::kWarn, "KrExtension: fatal error in '%s' onAddToOwner [%s]\n",
    "KrExtension: unhandled exception in '%s' onAddToOwner\n", "onAddToOwner"};
inline constexpr Kr::GuardTexts kOnRemoveFromOwner{
    Kr::eLogLevel::kWarn, "KrExtension: fatal error in '%s' onRemoveFromOwner [%s]\n",
    "KrExtension: unhandled exception in '%s' onRemoveFromOwner\n", "onRemoveFromOwner"};
inline constexpr Kr::GuardTexts kOnLoading{Kr::eLogLevel::kWarn, "KrExtension: fatal error in '%s' onLoading() [%s]\n",
                                           "KrExtension: unhandled exception in '%s' onLoading()\n", "onLoading"};
inline constexpr Kr::GuardTexts kOnLoaded{Kr::eLogLevel::kWarn, "KrExtension: fatal error in '%s' onLoaded() [%s]\n",
                                          "KrExtension: unhandled exception in '%s' onLoaded()\n", "onLoaded"};
inline constexpr Kr::GuardTexts kOnStateSave{Kr::eLogLevel::kWarn,
                                             "KrExtension: fatal error in '%s' onStateSave() [%s]\n",
                                             "KrExtension: unhandled exception in '%s' onStateSave()\n", "onStateSave"};
inline constexpr Kr::GuardTexts kOnStateRestore{
    Kr::eLogLevel::kWarn, "KrExtension: fatal error in '%s' onStateRestore() [%s]\n",
    "KrExtension: unhandled exception in '%s' onStateRestore()\n", "onStateRestore"};
inline constexpr Kr::GuardTexts kOnSynchronized{
    Kr::eLogLevel::kWarn, "KrExtension: fatal error in '%s' ::onSynchronized() [%s]\n",
    "KrExtension: unhandled exception in '%s' ::onSynchronized()\n", "onSynchronized"};
inline constexpr Kr::GuardTexts kOnActive{
    Kr::eLogLevel::kDebug, "KrInputOutputContainer: fatal error in '%s' onActive. [%s]\n",
    "KrInputOutputContainer: unhandled exception in '%s' onActive.\n", "onActive"};
inline constexpr Kr::GuardTexts kOnInactive{
    Kr::eLogLevel::kDebug, "KrInputOutputContainer: fatal error in '%s' onInactive. [%s]\n",
    "KrInputOutputContainer: unhandled exception in '%s' onInactive.\n", "onInactive"};

}  // namespace KrSim::detail
