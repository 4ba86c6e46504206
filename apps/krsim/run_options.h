#pragma once

#include <CLI/CLI.hpp>

#include "apps/krsim/run_plan.h"

namespace krsim {

/// The options of `krsim run`. The plan is borrowed and filled while the command line is read.
void addRunOptions(CLI::App& command, RunPlan& plan);

/// Those that say what a simulation is made of: types, mode and rate.
void addContentOptions(CLI::App& command, RunPlan& plan);

}  // namespace krsim
