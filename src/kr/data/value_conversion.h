#pragma once

#include "kr/data/types.h"

namespace KrData {

/// Whether the value of `source` can become the value of `sink`. False for the invalid field and for vector items.
/// Thread: any; the tables are filled once.
[[nodiscard]] KR_API bool CanConvert(const FieldBase& source, const FieldBase& sink);
/// Whether it can become a value of this data type, as far as the type alone tells.
[[nodiscard]] KR_API bool CanConvert(const FieldBase& source, Types::DataTypeEnum sinkType);

/// Sets the value of `sink` from that of `source`, converting it. False when no conversion applies.
KR_API bool TransferValueConverter(const FieldBase& source, FieldBase& sink);

}  // namespace KrData
