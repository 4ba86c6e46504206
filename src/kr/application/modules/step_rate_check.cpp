#include "kr/application/modules/step_rate_check.h"

#include "kr/application/modules/module_of.h"
#include "kr/application/modules/simulator_module.h"

namespace KrSim::detail {

std::vector<RefusedRate> StepRateCheck::findRefused(const KrSimulatorModule& module, double frameRateHz) {
    std::vector<RefusedRate> refused;
    const auto* units = module.getImplementationAs<UnitModule>();
    if (units == nullptr) return refused;
    for (const auto& group : units->_groups) {
        const bool isChosen = group.choice && group.choice->get() != 0.0;
        const auto reason = group.getWantedRate().explainRefusal(frameRateHz);
        if (!reason.empty())
            refused.push_back({group.name, isChosen ? group.choice->getField()->getID() : Kr::KrID(), reason});
    }
    return refused;
}

}  // namespace KrSim::detail
