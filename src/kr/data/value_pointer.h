#pragma once

#include <functional>

namespace KrData {

/// Binds a field to a variable that is owned elsewhere. Either function may be missing. They run on the thread that
/// reads or sets the field, and may replace the binding, but not destroy the field. When a getter throws, the stored
/// value is used; when a setter throws, the value is set nevertheless; both are reported as a warning.
template <class T>
struct ValuePointer {
    std::function<T()> getter;             ///< its result replaces the stored value at each reading
    std::function<void(const T&)> setter;  ///< called with each new value after it is stored
};

}  // namespace KrData
