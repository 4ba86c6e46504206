#pragma once

namespace Kr::detail {

/// Tells a running function that an object has died under it. The object keeps a `bool*` that is null but during such
/// calls, and announces its death in the destructor. Watches of one object may lie one in the other.
class DeathWatch {
public:
    // Not inlined: the compiler would warn of an object that keeps the address, not knowing that it is dead then.
    [[gnu::noinline]] explicit DeathWatch(bool*& slot) noexcept : _slot(slot), _outer(slot) { slot = &_died; }
    DeathWatch(const DeathWatch&) = delete;
    DeathWatch& operator=(const DeathWatch&) = delete;
    ~DeathWatch() {
        if (!_died) {
            _slot = _outer;
        } else {
            announce(_outer);
        }
    }

    [[nodiscard]] bool died() const noexcept { return _died; }
    static void announce(bool* slot) noexcept {
        if (slot != nullptr) *slot = true;
    }

private:
    bool*& _slot;
    bool* _outer;
    bool _died{false};
};

}  // namespace Kr::detail
