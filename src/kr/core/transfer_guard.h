#pragma once

#include <cstdint>

namespace Kr {

/// Marks that a connection is transferring, so that a connection that feeds back into its own source stops.
///
/// Guards are entered inside a Scope, which leaves all guards entered since it began, also when one of them has died
/// meanwhile, without access to their connections: a transfer may destroy its connection.
/// Thread: a guard is entered and left, and dies while entered, on one thread. Inside the library only.
class TransferGuard {
public:
    class Scope;

    TransferGuard() noexcept = default;
    TransferGuard(const TransferGuard&) = delete;
    TransferGuard& operator=(const TransferGuard&) = delete;
    ~TransferGuard() {
        if (_place < _entered.count) _entered.guards[_place] = nullptr;
    }

    [[nodiscard]] bool isEntered() const noexcept { return _place != kNowhere; }
    /// Only while it is not entered, and inside a Scope of this thread. Throws when memory does not suffice.
    void enter() {
        if (_entered.count == _entered.capacity) [[unlikely]]
            _grow();
        _entered.guards[_entered.count] = this;
        _place = _entered.count++;
    }

private:
    static constexpr std::uint32_t kNowhere = 0xffffffff;

    /// The guards that this thread has entered; null for one that has died. A plain structure, since a thread pays for
    /// a destructor at every access.
    struct Entered {
        TransferGuard** guards;
        std::uint32_t count;
        std::uint32_t capacity;
    };

    static void _grow();

    std::uint32_t _place{kNowhere};
    // Reached on every transfer; the default model of a shared library costs a function call each time.
    [[gnu::tls_model("initial-exec")]] static thread_local constinit Entered _entered;
};

class TransferGuard::Scope {
public:
    Scope() noexcept : _first(_entered.count) {}
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() {
        for (auto i = _first; i < _entered.count; ++i) {
            if (auto* guard = _entered.guards[i]) guard->_place = kNowhere;
        }
        _entered.count = _first;
    }

private:
    std::uint32_t _first;
};

}  // namespace Kr
