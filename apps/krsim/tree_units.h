#pragma once

#include "apps/krsim/tree_writer.h"
#include "kr/core/unit_system.h"

namespace krsim {

/// Appends to the number of each field with a dimension its value in the unit system: "1900 (4188.782981512674 lb)".
/// Without recursion.
void addShownUnits(TreeNode& root, Kr::eUnitSystem system);

}  // namespace krsim
