#pragma once

#include <string>

#include "kr/data/fwd.h"

namespace Kr::detail {

/// The name of the extension of the field; empty without one.
[[nodiscard]] std::string ownerNameOf(const KrData::FieldBase& field);
/// Logs a warning for each pair of fields of different dimensions. They are connected nevertheless.
void reportDimensions(const KrData::FieldBase& source, const KrData::FieldBase& sink);

/// Logs an error: the stack has no room for one more transfer. Ignores exceptions of the log.
void reportTooDeep(const KrData::FieldBase& source, const KrData::FieldBase& sink);

}  // namespace Kr::detail
