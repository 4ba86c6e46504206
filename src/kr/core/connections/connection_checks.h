#pragma once

#include <string>
#include <vector>

#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace Kr {

/// Why no connection leads from one field to the other, for people: roles that do not fit, or values that do not
/// convert. Empty when KrConnectionFactory can create one. \param isQueued  for KrConnectionFactory::connectQueued,
/// which accepts any roles. Thread: that of the fields, as for the other function.
[[nodiscard]] KR_API std::string explainRefusal(const KrData::FieldBase& source, const KrData::FieldBase& sink,
                                                bool isQueued = false);

/// The pairs of fields that a connection between the two connects although they have different dimensions, a text each:
/// "'Car/Motor.Outputs.Speed' measures Speed, 'Car/Wheel.Inputs.Torque' measures Torque". For two containers the pairs
/// of fields inside them. A field without a physical dimension fits all.
[[nodiscard]] KR_API std::vector<std::string> describeDimensionConflicts(const KrData::FieldBase& source,
                                                                         const KrData::FieldBase& sink);

}  // namespace Kr
