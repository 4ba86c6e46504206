#pragma once

#include <type_traits>

#include "kr/core/base_pointer.h"
#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// A borrowed pointer to an extension that becomes null when the extension dies, also when another object is created at
/// the same address afterwards. Fields of data type kExtension and vectors of such items keep their values in it.
///
/// While memory tracking is disabled it keeps the address of a dead extension.
/// Thread: one at a time. Ownership: borrows the extension.
class KR_API ExtensionPointer {
public:
    ExtensionPointer() noexcept = default;
    /// A dead extension becomes null.
    ExtensionPointer(KrSim::KrExtension* extension);  // NOLINT(google-explicit-constructor): as a plain pointer

    [[nodiscard]] KrSim::KrExtension* const& get() const noexcept;
    operator KrSim::KrExtension* const&() const noexcept { return get(); }

private:
    KrSim::KrExtension* _extension{nullptr};
    Kr::KrBasePointer _life;
    bool _isTracked{false};  // whether its death is detected
};

namespace detail {
/// The stored form of a value of type T in fields.
template <class T>
using Stored = std::conditional_t<std::is_same_v<T, KrSim::KrExtension*>, ExtensionPointer, T>;
}  // namespace detail

}  // namespace KrData
