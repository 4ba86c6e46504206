#pragma once

#include <cstdint>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace Kr {

/// A borrowed pointer to an object that turns null when the object dies, also where another object is made at the same
/// address afterwards: the two have different serial numbers.
///
/// Null from the start for an object that was made while memory tracking was off (KrBase::setEnableMemoryTracking).
/// Thread: any, for one thread at a time. What get() answers is good as long as no other thread destroys the object.
class KR_API KrBasePointer {
public:
    KrBasePointer() noexcept = default;
    /// Of a live object; null for any other address, which is not read.
    KrBasePointer(const KrBase* object) noexcept;  // NOLINT(google-explicit-constructor): as a plain pointer

    [[nodiscard]] KrBase* get() const noexcept;
    /// Where the object is or was; for comparing only.
    [[nodiscard]] const KrBase* getAddress() const noexcept { return _object; }

private:
    const KrBase* _object{nullptr};
    std::uint32_t _serial{0};
};

}  // namespace Kr
