#pragma once

#include <CLI/CLI.hpp>

#include "apps/krsim/sweep_plan.h"

namespace krsim {

/// The options of `krsim sweep`. The plan is borrowed and filled while the command line is read.
void addSweepOptions(CLI::App& command, SweepCommandPlan& plan);

}  // namespace krsim
