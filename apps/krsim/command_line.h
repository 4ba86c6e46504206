#pragma once

#include <string>
#include <variant>
#include <vector>

#include "apps/krsim/doctor_command.h"
#include "apps/krsim/failure.h"
#include "apps/krsim/file_plans.h"
#include "apps/krsim/manual_pages.h"
#include "apps/krsim/new_plugin_command.h"
#include "apps/krsim/run_plan.h"
#include "apps/krsim/sweep_plan.h"
#include "apps/krsim/types_command.h"

namespace krsim {

/// Nothing to do but to print this: on standard output when all is well, else on standard error.
struct Answer {
    eExitCode code;
    std::string text;
};

using Command = std::variant<Answer, RunPlan, SweepCommandPlan, ListPlan, InfoPlan, DumpPlan, ConvertPlan, RecoverPlan,
                             VerifyPlan, DiffPlan, GraphPlan, CreatePlan, PresetPlan, EditPlan, NewPluginPlan,
                             TypesPlan, DoctorPlan, ManualPlan>;

/// Reads the arguments that follow the name of the program. Looks at no file.
[[nodiscard]] Command parseCommandLine(const std::vector<std::string>& arguments);

}  // namespace krsim
