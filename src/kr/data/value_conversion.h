#pragma once

#include <functional>

#include "kr/data/types.h"

namespace KrData {

// Conversion of the value of one field to another data type. The rules:
//
// - Integer, Unsigned, Short, Unsigned Short, Double, Float, Boolean and Enumeration: each into each. A real becomes
//   the nearest integer, half to even, limited to the integer type; NaN becomes 0. A finite number stays finite as a
//   Float. A number is true when it is further from 0 than KrMath::kSmallReal. An unknown enumeration accepts no
//   number, a known one only its own.
// - String and Filename: into each other, cut where a Filename is full; from every number; and into a number where the
//   whole text is one, in the form 12, -0.5 or 1e-3, whatever the locale. Booleans are "true" and "false", enumerations
//   their display text, or else a number.
// - Vector 3 and its float form.
// - Field arrays of as many Double, Integer or Unsigned Integer items as the value has components: to and from
//   Vector 2, 3 and 4, and Transform (16 items, row by row). Two arrays of different items: item by item.
// - Vectors: of the same item data type only.
//
// All other types only from themselves. Values are stored in SI units, so physical dimensions do not matter here. A
// converted value is set like any other, so it is clamped to the range of the sink.
//
// Thread: like the fields; the tables are constant.

/// Whether the value of `source` can be converted to that of `sink`. False for the invalid field and for vector items.
/// A transfer may still refuse a value: a text that is no number, an array of another size.
[[nodiscard]] KR_API bool CanConvert(const FieldBase& source, const FieldBase& sink);
/// Whether it can be converted to this data type, as far as the type alone decides.
[[nodiscard]] KR_API bool CanConvert(const FieldBase& source, Types::DataTypeEnum sinkType);

/// Sets the value of `sink` to the converted value of `source`. False, and nothing changes, when no conversion exists,
/// or the sink has no such value.
KR_API bool TransferValueConverter(const FieldBase& source, FieldBase& sink);

/// Whether ApplyTransferFunction accepts these two data types: any two numbers, and two vectors of equal size.
[[nodiscard]] KR_API bool CanApplyTransferFunction(const FieldBase& source, const FieldBase& sink);
/// Sets each component of `sink` to the function of that of `source`, converted as above. False, and nothing changes,
/// for other data types, for an empty function, and when the function throws, which is logged as a warning. The
/// function may destroy both fields; the result is false then, too.
KR_API bool ApplyTransferFunction(const FieldBase& source, FieldBase& sink,
                                  const std::function<double(double)>& function);

}  // namespace KrData
