#pragma once

#include "apps/krsim/failure.h"
#include "apps/krsim/run_plan.h"

namespace krsim {

/// Executes the plan and reports on standard output; the log is written to standard error. Throws a Failure when the
/// run cannot begin. When it returns, everything is destroyed, and the log file is closed.
[[nodiscard]] eExitCode runSimulation(const RunPlan& plan);

}  // namespace krsim
