#pragma once

#include <CLI/CLI.hpp>

#include "apps/krsim/option_values.h"
#include "apps/krsim/run_plan.h"
#include "kr/core/unit_system.h"

namespace krsim {

/// The values of --units.
[[nodiscard]] const Choices<Kr::eUnitSystem>& getUnitSystems();

/// The options of `krsim run`. The plan is borrowed and filled while the command line is read.
void addRunOptions(CLI::App& command, RunPlan& plan);

/// The option --set.
void addAssignments(CLI::App& command, std::vector<KrExperiments::Assignment>& assignments,
                    const std::string& description);

/// Those that say what is simulated and for how long, without pace and results.
void addModelOptions(CLI::App& command, RunPlan& plan);

/// Those that say what a simulation is made of: types, mode, rate and pace.
void addContentOptions(CLI::App& command, RunPlan& plan);

}  // namespace krsim
