#pragma once

#include <string>
#include <vector>

#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace Kr {

/// Why no connection leads from the one field to the other, for people: roles that do not go together, or values that
/// do not convert. Empty where KrConnectionFactory can make one. \param isQueued  asks about
/// KrConnectionFactory::connectQueued, which takes any roles. Thread: that of the fields, as for the other function.
[[nodiscard]] KR_API std::string explainRefusal(const KrData::FieldBase& source, const KrData::FieldBase& sink,
                                                bool isQueued = false);

/// The pairs of fields that a connection between the two brings together although they measure different things, a text
/// each: "'Car/Motor.Outputs.Speed' measures Speed, 'Car/Wheel.Inputs.Torque' measures Torque". For two containers
/// these are the pairs of fields inside them. A field without a physical dimension fits all.
[[nodiscard]] KR_API std::vector<std::string> describeDimensionConflicts(const KrData::FieldBase& source,
                                                                         const KrData::FieldBase& sink);

}  // namespace Kr
