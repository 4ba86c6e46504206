#pragma once

#include "kr/application/fwd.h"
#include "kr/extension/factory_key.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence::detail {

/// A module that programs add while they run, and that is no part of a setup: a restored state adds it again.
struct StateModule {
    KrSim::KrFactoryKey key{};
    void (*add)(KrSim::KrApplication&){nullptr};  ///< does nothing for an application that has it
};

/// For the life of the process. Call it while the library is loaded.
bool registerStateModule(const StateModule& module);

/// Adds the registered modules that have a state.
void addStateModules(KrSim::KrApplication& application, const KrSim::KrSimulationState& state);

}  // namespace KrPersistence::detail
