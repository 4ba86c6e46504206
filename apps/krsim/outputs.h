#pragma once

#include <string>

#include "kr/application/application.h"
#include "kr/experiments/field_text.h"

namespace krsim {

/// The values of all outputs of the content and the modules, a line each: "Electric Car/Vehicle.Outputs.Distance =
/// 11017.5 m". Values are in the shown units.
[[nodiscard]] std::string formatOutputs(const KrSim::KrApplication& application, KrExperiments::ShownUnits units);

}  // namespace krsim
