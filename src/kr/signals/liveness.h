#pragma once

#include <atomic>

#include "kr/platform/ref_count.h"

namespace Kr {

/// The address of an object, shared with everything that must learn later whether the object still lives. The object
/// owns one holder, made on first need, and ends it in its destructor. Inside one call on one thread a DeathWatch needs
/// no memory.
///
/// Thread: any; what get() answers may be used on the thread that destroys the object only.
template <class T>
class Liveness final : public KrRefCount {
public:
    explicit Liveness(T* object) noexcept : _object(object) {}

    /// Null once the object has died.
    [[nodiscard]] T* get() const noexcept { return _object.load(std::memory_order_acquire); }
    void end() noexcept { _object.store(nullptr, std::memory_order_release); }

private:
    std::atomic<T*> _object;
};

}  // namespace Kr
