#pragma once

#include "kr/data/field.h"

namespace KrData::detail {

/// Sets a value that was converted from another field, so that the two agree afterwards: a field bound to a variable is
/// compared with the current value of the variable, and not, as by a setter, with the last value of the field.
template <class T>
bool setConverted(Field<T>& sink, const T& value) {
    return sink.getValue() == value || sink.setValue(value);
}

/// The same; false, and nothing changes, for a field of another type.
template <class T>
bool setConverted(FieldBase& sink, const T& value) {
    auto* field = sink.as<T>();
    return field != nullptr && setConverted(*field, value);
}

}  // namespace KrData::detail
