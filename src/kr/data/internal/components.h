#pragma once

#include <array>
#include <cstddef>

#include "kr/data/types.h"

namespace KrData::detail {

/// The components of a value as reals: 1 of a number, 2 to 4 of a vector, 16 of a transform, row by row.
using Components = std::array<double, 16>;

/// 0 for types that do not consist of reals.
[[nodiscard]] std::size_t componentCountOf(Types::DataTypeEnum dataType) noexcept;
/// Components that the type does not have are undefined.
[[nodiscard]] Components componentsOf(const FieldBase& source);
/// Rounded and limited to the type of the sink. False when it does not consist of reals, or is an enumeration that does
/// not have the number.
bool setComponents(FieldBase& sink, const Components& values);

}  // namespace KrData::detail
