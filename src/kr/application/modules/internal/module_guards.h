#pragma once

#include "kr/platform/guard.h"

namespace KrSim::detail {

// Log lines for throwing callbacks of a module. The texts differ in form; readers of logs depend on them.

inline constexpr Kr::GuardTexts kOnPreUpdate{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' onPreUpdate mode=%d [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' onPreUpdate mode=%d\n", "onPreUpdate"};
inline constexpr Kr::GuardTexts kOnUpdate{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' onUpdate mode=%d [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' onUpdate mode=%d\n", "onUpdate"};
inline constexpr Kr::GuardTexts kOnPostUpdate{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' onPostUpdate mode=%d [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' onPostUpdate mode=%d\n", "onPostUpdate"};
inline constexpr Kr::GuardTexts kModuleExtensionAdded{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' onExtensionAdded() '%s' [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' onExtensionAdded() '%s' \n", "onExtensionAdded"};
inline constexpr Kr::GuardTexts kModuleExtensionRemoved{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' onExtensionRemoved() '%s' [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' onExtensionRemoved '%s'\n", "onExtensionRemoved"};
inline constexpr Kr::GuardTexts kOnFillSimulationState{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' onFillSimulationState [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' onFillSimulationState\n", "onFillSimulationState"};
inline constexpr Kr::GuardTexts kOnAddToApplication{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' onAddToApplication [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' onAddToApplication\n", "onAddToApplication"};
inline constexpr Kr::GuardTexts kOnRemoveFromApplication{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' onRemoveFromApplication [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' onRemoveFromApplication\n", "onRemoveFromApplication"};
inline constexpr Kr::GuardTexts kOnApplicationModeChange{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' onApplicationModeChange [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' onApplicationModeChange\n", "onApplicationModeChange"};
inline constexpr Kr::GuardTexts kOnModuleStateSave{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' onStateSave() [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' onStateSave()\n", "onStateSave"};

// For ModuleOf's work on one extension; the second name is that of the module.
inline constexpr Kr::GuardTexts kOnStep{Kr::eLogLevel::kWarn,
                                        "KrSimulatorModule: fatal error in '%s' onStep of '%s' [%s]\n",
                                        "KrSimulatorModule: unhandled exception in '%s' onStep of '%s'\n", "onStep"};
inline constexpr Kr::GuardTexts kOnUnitWork{
    Kr::eLogLevel::kWarn, "KrSimulatorModule: fatal error in '%s' forEach of '%s' [%s]\n",
    "KrSimulatorModule: unhandled exception in '%s' forEach of '%s'\n", "forEach"};

// When the pass of a module throws outside its callback. The parentheses after a signature are part of the text.

#define KR_PASS_GUARD(pass)                                                                    \
    {                                                                                          \
        Kr::eLogLevel::kWarn,                                                                  \
            "KrSimulatorModuleSequence::" pass " Caught exception while calling " pass         \
            "(KrSim::eApplicationMode) on %s: %s\n",                                           \
            "KrSimulatorModuleSequence::" pass " Caught unknown exception while calling " pass \
            "(KrSim::eApplicationMode)() on %s\n",                                             \
            pass                                                                               \
    }
inline constexpr Kr::GuardTexts kPreUpdatePass KR_PASS_GUARD("preUpdate");
inline constexpr Kr::GuardTexts kUpdatePass KR_PASS_GUARD("update");
inline constexpr Kr::GuardTexts kPostUpdatePass KR_PASS_GUARD("postUpdate");
#undef KR_PASS_GUARD

}  // namespace KrSim::detail
