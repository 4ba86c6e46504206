#pragma once

#include <cstdint>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace Kr {

/// A borrowed pointer to an object that becomes null when the object dies, also when another object is created at the
/// same address afterwards: the two have different serial numbers.
///
/// Always null for an object created while memory tracking was disabled (KrBase::setEnableMemoryTracking).
/// Thread: one at a time. Ownership: borrows the object.
class KR_API KrBasePointer {
public:
    KrBasePointer() noexcept = default;
    /// Null for any address that is not that of a live object; the address is not read.
    KrBasePointer(const KrBase* object) noexcept;  // NOLINT(google-explicit-constructor): as a plain pointer

    /// Null after the object died. Valid as long as no other thread destroys the object.
    [[nodiscard]] KrBase* get() const noexcept;
    /// The address of the object, also after its death; for comparison only.
    [[nodiscard]] const KrBase* getAddress() const noexcept { return _object; }

private:
    const KrBase* _object{nullptr};
    std::uint32_t _serial{0};
};

}  // namespace Kr
