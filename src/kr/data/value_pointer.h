#pragma once

#include <functional>

namespace KrData {

/// Binds a field to a variable that is owned elsewhere. Either function may be missing.
/// They run on the thread that reads or sets the field, and may bind it anew, but not destroy it. A getter that throws
/// leaves the stored value, a setter that throws does not take it back; both are reported as a warning.
template <class T>
struct ValuePointer {
    std::function<T()> getter;             ///< its answer replaces the stored value at each reading
    std::function<void(const T&)> setter;  ///< gets each new value as it is stored
};

}  // namespace KrData
