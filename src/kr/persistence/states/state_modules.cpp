#include "kr/persistence/states/state_modules.h"

#include <algorithm>
#include <vector>

#include "kr/application/application.h"
#include "kr/extension/extension_state.h"

namespace KrPersistence::detail {

namespace {

std::vector<StateModule>& all() {
    static auto& modules = *new std::vector<StateModule>;
    return modules;
}

}  // namespace

bool registerStateModule(const StateModule& module) {
    all().push_back(module);
    return true;
}

void addStateModules(KrSim::KrApplication& application, const KrSim::KrSimulationState& state) {
    const auto& states = state.getExtensionStates();
    for (const auto& module : all()) {
        const bool isIn = std::any_of(states.begin(), states.end(),
                                      [&](const auto& each) { return each->getCreationKey().uuid == module.key.uuid; });
        if (isIn) module.add(application);
    }
}

}  // namespace KrPersistence::detail
