#pragma once

#include "apps/krsim/failure.h"
#include "apps/krsim/sweep_plan.h"

namespace krsim {

/// Runs what is missing of the sweep, each run in a process of its own, and writes the table. kFailed when a run
/// failed; the exit code of a signal that ended the sweep. Throws a Failure when no run can begin.
[[nodiscard]] eExitCode runSweep(const SweepCommandPlan& plan);

}  // namespace krsim
