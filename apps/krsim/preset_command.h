#pragma once

#include "apps/krsim/file_plans.h"

namespace krsim {

/// Prints the names of the presets of a setup file, or changes one and saves the file in its kind. Throws a Failure.
void editPresets(const PresetPlan& plan);

}  // namespace krsim
