// In the place of run_conditions.cpp where muParser is missing.

#include "apps/krsim/failure.h"
#include "apps/krsim/run_conditions.h"

namespace krsim {

void enableOverrideConditions() {}  // an override with one is refused

struct RunConditions::Parts {};

RunConditions::RunConditions(KrSim::KrApplication&, const ConditionPlan& plan) {
    if (plan.isEmpty()) return;
    throw Failure(eExitCode::kUsage,
                  "--check and --stop-when need muParser, without which this krsim was built; install libmuparser-dev, "
                  "then configure and build again");
}

RunConditions::~RunConditions() = default;

ConditionResult RunConditions::getResult() const {
    return {};
}

}  // namespace krsim
