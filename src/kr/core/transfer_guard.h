#pragma once

namespace Kr {

/// Marks that a connection hands a value over, so that one that feeds back into its own source stops.
///
/// Guards are entered inside a Scope, which leaves all that were entered since it began, also when one of them has died
/// meanwhile, and without looking at what they belong to: a transfer may end with its connection gone.
/// Thread: a guard is entered and left, and dies while entered, on one thread. Inside the library only.
class TransferGuard {
public:
    class Scope;

    TransferGuard() noexcept = default;
    TransferGuard(const TransferGuard&) = delete;
    TransferGuard& operator=(const TransferGuard&) = delete;
    ~TransferGuard() {
        if (_isEntered) _unlink();
    }

    [[nodiscard]] bool isEntered() const noexcept { return _isEntered; }
    /// Only while it is not entered, and under a Scope of this thread.
    void enter() noexcept {
        _isEntered = true;
        _below = _top;
        _above = nullptr;
        if (_top != nullptr) _top->_above = this;
        _top = this;
    }

private:
    void _unlink() noexcept {
        if (_below != nullptr) _below->_above = _above;
        (_above != nullptr ? _above->_below : _top) = _below;
        _isEntered = false;
    }

    bool _isEntered{false};
    TransferGuard* _below{nullptr};
    TransferGuard* _above{nullptr};
    // Reached on every transfer; the default model of a shared library costs a function call each time.
    [[gnu::tls_model("initial-exec")]] static thread_local constinit TransferGuard* _top;
};

class TransferGuard::Scope {
public:
    Scope() noexcept { _mark.enter(); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() {
        for (auto* each = _top; each != &_mark; each = each->_below)
            each->_isEntered = false;
        _mark._above = nullptr;
        _top = &_mark;
    }

private:
    TransferGuard _mark;
};

}  // namespace Kr
