#pragma once

#include "apps/krsim/failure.h"
#include "apps/krsim/run_plan.h"

namespace krsim {

/// Carries the plan out and tells of it on standard output; the log goes to standard error. Throws a Failure where the
/// run does not even begin. When it returns, all is destroyed, and the log file is closed.
[[nodiscard]] eExitCode runSimulation(const RunPlan& plan);

}  // namespace krsim
