#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kr/core/physical_dimension.h"
#include "kr/data/fwd.h"

namespace krsim {

/// What follows the path of a field of this data type in the names of its columns: ".X", ".Y" for a vector of two,
/// ".R" to ".A" for a colour, ".M00" to ".M33" (row, column) for a matrix or transform. One empty text for a value
/// that takes one column.
[[nodiscard]] std::vector<std::string> getColumnEndings(const KrData::FieldBase& field);

/// Appends the value in as many cells as getColumnEndings has, a comma in front of each. Numbers read back exactly.
/// \param unit  as KrExperiments::getShownUnit chooses it; without one, numbers are in the SI unit.
void appendValue(std::string& line, const KrData::FieldBase& field,
                 Kr::KrPhysicalDimension::eDimensionHint unit = Kr::KrPhysicalDimension::eDimensionHint::kNone);

}  // namespace krsim
