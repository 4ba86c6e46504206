#pragma once

#include <type_traits>

#include "kr/core/base_pointer.h"
#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// A borrowed pointer to an extension that turns null when the extension dies, also where another object is made at the
/// same address afterwards. Fields of data type kExtension and vectors of such items keep their values in it.
///
/// While memory tracking is off, deaths go unnoticed: it keeps the address of an extension that is set then.
/// Thread: as Kr::KrBasePointer.
class KR_API ExtensionPointer {
public:
    ExtensionPointer() noexcept = default;
    /// A dead extension is null.
    ExtensionPointer(KrSim::KrExtension* extension);  // NOLINT(google-explicit-constructor): as a plain pointer

    [[nodiscard]] KrSim::KrExtension* const& get() const noexcept;
    operator KrSim::KrExtension* const&() const noexcept { return get(); }

private:
    KrSim::KrExtension* _extension{nullptr};
    Kr::KrBasePointer _life;
    bool _isTracked{false};  // whether it has a life to ask
};

namespace detail {
/// How fields keep a value of type T.
template <class T>
using Stored = std::conditional_t<std::is_same_v<T, KrSim::KrExtension*>, ExtensionPointer, T>;
}  // namespace detail

}  // namespace KrData
