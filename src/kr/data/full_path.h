#pragma once

#include <string>

#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// The path of the field for people: the path of its extension, then its own, as in "Car/Motor.Inputs.Throttle".
/// Outside an extension the path from the outermost container; "(a Double without a name)" for a field without a path.
/// Thread: that of the field.
[[nodiscard]] KR_API std::string getFullPath(const FieldBase& field);

}  // namespace KrData
