#pragma once

#include <string>

#include "kr/data/fwd.h"

namespace Kr::detail {

/// The name of the extension that has the field; empty without one.
[[nodiscard]] std::string ownerNameOf(const KrData::FieldBase& field);
/// A warning for each pair of fields that measure different things. They may be connected all the same.
void reportDimensions(const KrData::FieldBase& source, const KrData::FieldBase& sink);

/// An error: the stack has no room for one more transfer. Never throws what the log does.
void reportTooDeep(const KrData::FieldBase& source, const KrData::FieldBase& sink);

}  // namespace Kr::detail
