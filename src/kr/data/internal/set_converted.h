#pragma once

#include "kr/data/field.h"

namespace KrData::detail {

/// Sets a value that was made from another field, so that the two agree afterwards: a field that is bound to a variable
/// is compared with what the variable holds now, and not, as a setter does, with the value that the field had last.
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
