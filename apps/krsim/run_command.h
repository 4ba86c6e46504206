#pragma once

#include "apps/krsim/failure.h"
#include "apps/krsim/run_plan.h"

namespace krsim {

struct RunResult;

/// Executes the plan and reports on standard output; the log is written to standard error. Throws a Failure when the
/// run cannot begin. When it returns, everything is destroyed, and the log file is closed.
/// \param result  receives how the run has ended; may be null.
[[nodiscard]] eExitCode runSimulation(const RunPlan& plan, RunResult* result = nullptr);

}  // namespace krsim
