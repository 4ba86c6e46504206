#pragma once

namespace Kr::detail {

/// Tells a running member function that its object has died under it. The object keeps a `bool*` that is null but
/// during the call, and announces its death in the destructor.
class DeathWatch {
public:
    explicit DeathWatch(bool*& slot) noexcept : _slot(slot) { slot = &_died; }
    DeathWatch(const DeathWatch&) = delete;
    DeathWatch& operator=(const DeathWatch&) = delete;
    ~DeathWatch() {
        if (!_died) _slot = nullptr;
    }

    [[nodiscard]] bool died() const noexcept { return _died; }
    static void announce(bool* slot) noexcept {
        if (slot != nullptr) *slot = true;
    }

private:
    bool*& _slot;
    bool _died{false};
};

}  // namespace Kr::detail
