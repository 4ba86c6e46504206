#pragma once

#include "kr/data/types.h"

namespace KrData::detail {

/// The conversion of a value of one data type to another.
struct Conversion {
    /// Whether these two fields may be converted; null for a pair of types without conversion.
    bool (*test)(const FieldBase& source, const FieldBase& sink);
    /// False, and nothing changes, when the sink has no such value: a text that is no number, an enumeration that does
    /// not have the number.
    bool (*convert)(const FieldBase& source, FieldBase& sink);
};

/// Null for a pair without conversion, and for two equal types: these are copied. Takes constant time.
[[nodiscard]] const Conversion* findConversion(Types::DataTypeEnum source, Types::DataTypeEnum sink) noexcept;

/// Sets a number, rounded and limited to the type of the sink. False when the sink holds no number, or is an
/// enumeration that does not have this one.
bool setNumber(FieldBase& sink, double value);

}  // namespace KrData::detail
