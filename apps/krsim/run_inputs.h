#pragma once

#include <string>
#include <utility>
#include <vector>

#include "apps/krsim/run_plan.h"

namespace krsim {

/// What the values of a run depend on: names and values for the head of a file, one line each. Files, also those
/// that a setup lists, are given with the CRC-32 of their bytes, so that another version of a file is noticed. Throws a
/// Failure for one that cannot be read.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> describeInputs(const RunPlan& plan);

}  // namespace krsim
