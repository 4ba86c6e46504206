#pragma once

#include "apps/krsim/file_plans.h"

namespace krsim {

/// Changes the content of an object file and saves it as the kind that it is. All problems are told, and then nothing
/// is saved: throws a Failure.
void editFile(const EditPlan& plan);

}  // namespace krsim
