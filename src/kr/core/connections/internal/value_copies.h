#pragma once

#include <memory>

#include "kr/data/fwd.h"

/// Copies of the values of fields, which are given to sinks later.
namespace Kr::detail {

/// The field whose value is copied: of a proxy, the one behind it, which may be another one later. Null for a proxy
/// without a value.
[[nodiscard]] const KrData::FieldBase* valueOf(const KrData::FieldBase& field);
/// Null for a field that cannot be copied.
[[nodiscard]] std::unique_ptr<KrData::FieldBase> makeCopyOf(const KrData::FieldBase& value);
/// Gives an earlier copy of such a value this value, to the last bit. False when it takes a new copy.
[[nodiscard]] bool updateCopy(KrData::FieldBase& copy, const KrData::FieldBase& value);

}  // namespace Kr::detail
