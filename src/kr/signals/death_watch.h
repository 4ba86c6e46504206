#pragma once

#include "kr/platform/export.h"

namespace Kr {

/// Lets a running function find out whether an object that it uses has been destroyed meanwhile, on the same thread.
/// Put it on the stack. The object stores nothing: its destructor announces its address, and the watches of a thread
/// form a chain from the innermost call outwards.
///
/// Watch and announce an object by a pointer to the same class. No watched object may be the first member of another.
/// Thread: the constructing one. Ownership: none.
class KR_API DeathWatch {
public:
    explicit DeathWatch(const void* object, const void* other = nullptr) noexcept
        : _object(object), _other(other), _outer(_innermost) {
        _innermost = this;
    }
    DeathWatch(const DeathWatch&) = delete;
    DeathWatch& operator=(const DeathWatch&) = delete;
    ~DeathWatch() { _innermost = _outer; }

    [[nodiscard]] bool died() const noexcept { return _object == nullptr; }
    /// The same for the second object; true also when none was given.
    [[nodiscard]] bool otherDied() const noexcept { return _other == nullptr; }

    /// Call it in the destructor of a watched class.
    static void announce(const void* object) noexcept {
        for (auto* watch = _innermost; watch != nullptr; watch = watch->_outer) {
            if (watch->_object == object) watch->_object = nullptr;
            if (watch->_other == object) watch->_other = nullptr;
        }
    }

private:
    const void* _object;
    const void* _other;
    DeathWatch* _outer;
    // Reached on every notification; the default model of a shared library costs a function call each time.
    [[gnu::tls_model("initial-exec")]] static constinit thread_local DeathWatch* _innermost;
};

}  // namespace Kr
