#pragma once

#include "kr/data/types.h"

namespace KrData::detail {

/// Whether field arrays convert to and from values of this type: vectors of doubles and transforms.
[[nodiscard]] bool isArrayPartner(Types::DataTypeEnum dataType) noexcept;

/// Whether a copied value leaves no difference of kind: equal data types and, for arrays, equal item classes.
[[nodiscard]] bool areSameKind(const FieldBase& first, const FieldBase& second);

/// Fills a vector from as many items, a transform from 16, row by row. False, and nothing changes, for another number
/// of items, and for items that are no Double, Integer or Unsigned Integer fields.
bool setFromArray(FieldBase& sink, const FieldBase& array);
/// The inverse: sets as many items, rounded if they are integers, under the same conditions.
bool setArrayFrom(FieldBase& array, const FieldBase& source);

}  // namespace KrData::detail
