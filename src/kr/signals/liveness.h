#pragma once

#include <atomic>

#include "kr/platform/ref_count.h"

namespace Kr {

/// The address of an object, shared with code that must find out later whether the object is alive. The object owns one
/// holder, made when first needed, and ends it in its destructor. Inside one call on one thread a DeathWatch does the
/// same without memory.
///
/// Thread: any; the object that get() returns may be used only on the thread that destroys it. Ownership: shared.
template <class T>
class Liveness final : public KrRefCount {
public:
    explicit Liveness(T* object) noexcept : _object(object) {}

    /// Null after the object died.
    [[nodiscard]] T* get() const noexcept { return _object.load(std::memory_order_acquire); }
    /// For the destructor of the object.
    void end() noexcept { _object.store(nullptr, std::memory_order_release); }

private:
    std::atomic<T*> _object;
};

}  // namespace Kr
