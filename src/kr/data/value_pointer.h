#pragma once

#include <functional>

namespace KrData {

/// Binds a field to a variable that is owned elsewhere. Either function may be missing.
/// They run on the thread that reads or sets the field; one that throws is reported as a warning and changes nothing.
template <class T>
struct ValuePointer {
    std::function<T()> getter;             ///< its answer replaces the stored value at each reading
    std::function<void(const T&)> setter;  ///< gets each new value, clamped
};

}  // namespace KrData
