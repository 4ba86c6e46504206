#include "kr/signals/listener_list.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

#include "kr/platform/ref_count_access.h"

namespace Kr::detail {

/// The registrations of a list, in the order of their numbers. Shared by the list, its deliveries and its handles, so
/// each of them may be the last to go.
class ListenerRegistry final : public KrRefCount {
public:
    struct Slot {
        std::uint64_t number{0};
        void* listener{nullptr};
        std::shared_ptr<void> held;  // empty where the listener is borrowed
    };

    /// The number of the registration; 0 when it is listed already.
    [[nodiscard]] std::uint64_t add(void* listener, std::shared_ptr<void> held) {
        const std::lock_guard lock(_mutex);
        const auto found = _find(listener);
        if (found != _slots.end()) return 0;
        const auto number = _lastNumber.load(std::memory_order_relaxed) + 1;
        _slots.push_back({number, listener, std::move(held)});
        _lastNumber.store(number, std::memory_order_release);
        return number;
    }
    bool remove(const void* listener) noexcept {
        return _take([&] { return _find(listener); });
    }
    bool removeNumber(std::uint64_t number) noexcept {
        return _take([&] {
            const auto found = _after(number - 1);
            return found != _slots.end() && found->number == number ? found : _slots.end();
        });
    }
    void clear() noexcept {
        std::vector<Slot> ended;  // destroyed after the lock
        const std::lock_guard lock(_mutex);
        ended.swap(_slots);
    }
    [[nodiscard]] bool hasNumber(std::uint64_t number) noexcept {
        const std::lock_guard lock(_mutex);
        const auto found = _after(number - 1);
        return found != _slots.end() && found->number == number;
    }
    /// Of the latest registration, which may have ended.
    [[nodiscard]] std::uint64_t getLastNumber() const noexcept { return _lastNumber.load(std::memory_order_acquire); }
    /// The first slot behind this number; a default one when there is none up to `end`.
    [[nodiscard]] Slot findAfter(std::uint64_t number, std::uint64_t end) noexcept {
        const std::lock_guard lock(_mutex);
        const auto found = _after(number);
        return found != _slots.end() && found->number <= end ? *found : Slot();
    }
    /// The slot with the lowest address behind this one among those up to `end`.
    [[nodiscard]] Slot findAbove(const void* listener, std::uint64_t end) noexcept {
        const std::lock_guard lock(_mutex);
        const std::less<const void*> isBelow;
        const Slot* lowest = nullptr;
        for (const auto& each : _slots) {
            if (each.number > end || !isBelow(listener, each.listener)) continue;
            if (lowest == nullptr || isBelow(each.listener, lowest->listener)) lowest = &each;
        }
        return lowest != nullptr ? *lowest : Slot();
    }

private:
    using Slots = std::vector<Slot>;

    [[nodiscard]] Slots::iterator _find(const void* listener) noexcept {
        return std::find_if(_slots.begin(), _slots.end(), [&](const Slot& each) { return each.listener == listener; });
    }
    [[nodiscard]] Slots::iterator _after(std::uint64_t number) noexcept {
        return std::upper_bound(_slots.begin(), _slots.end(), number,
                                [](std::uint64_t least, const Slot& each) { return least < each.number; });
    }
    template <class Find>
    bool _take(const Find& find) noexcept {
        std::shared_ptr<void> held;  // destroyed after the lock
        const std::lock_guard lock(_mutex);
        const auto found = find();
        if (found == _slots.end()) return false;
        held = std::move(found->held);
        _slots.erase(found);
        return true;
    }

    std::mutex _mutex;  // guards the slots
    Slots _slots;
    std::atomic<std::uint64_t> _lastNumber{0};  // written under the lock
};

namespace {

class HeldListener final : public KrData::detail::DelegateRegistration {
public:
    HeldListener(ListenerRegistry& registry, std::uint64_t number) noexcept : _registry(&registry), _number(number) {}
    void disconnect() noexcept override { _registry->removeNumber(_number); }
    [[nodiscard]] bool isConnected() const noexcept override { return _registry->hasNumber(_number); }

private:
    const KrSmartPtr<ListenerRegistry> _registry;
    const std::uint64_t _number;
};

}  // namespace

// --- The list ------------------------------------------------------------------------------------------------------

ListenerListBase::~ListenerListBase() {
    auto* registry = _registry.load(std::memory_order_acquire);
    if (registry == nullptr) return;
    registry->clear();
    RefCountAccess::release(*registry);
}

ListenerRegistry& ListenerListBase::_makeRegistry() {
    auto* registry = _registry.load(std::memory_order_acquire);
    if (registry != nullptr) return *registry;
    auto made = makeSmart<ListenerRegistry>();
    if (!_registry.compare_exchange_strong(registry, made.get(), std::memory_order_acq_rel)) return *registry;
    return *RefCountAccess::detach(made);
}

bool ListenerListBase::_add(void* listener, std::shared_ptr<void> held) {
    return listener != nullptr && _makeRegistry().add(listener, std::move(held)) != 0;
}

bool ListenerListBase::_remove(void* listener) noexcept {
    auto* registry = _registry.load(std::memory_order_acquire);
    return listener != nullptr && registry != nullptr && registry->remove(listener);
}

KrData::DelegateConnection ListenerListBase::_hold(std::shared_ptr<void> listener) {
    if (listener == nullptr) return {};
    auto& registry = _makeRegistry();
    auto* const address = listener.get();
    const auto number = registry.add(address, std::move(listener));
    if (number == 0) return {};
    try {
        return KrData::DelegateConnection(makeSmart<HeldListener>(registry, number));
    } catch (...) {
        registry.removeNumber(number);
        throw;
    }
}

void ListenerListBase::clear() noexcept {
    if (auto* registry = _registry.load(std::memory_order_acquire)) registry->clear();
}

// --- A delivery ----------------------------------------------------------------------------------------------------

ListenerListBase::Cursor::Cursor(const ListenerListBase& list) noexcept
    : _registry(list._registry.load(std::memory_order_acquire)) {
    if (_registry) _end = _registry->getLastNumber();
}

ListenerListBase::Cursor::~Cursor() = default;

void* ListenerListBase::Cursor::next() noexcept {
    if (_number >= _end) return nullptr;
    auto slot = _registry->findAfter(_number, _end);
    _number = slot.listener != nullptr ? slot.number : _end;
    _held = std::move(slot.held);
    return _current = slot.listener;
}

void* ListenerListBase::Cursor::nextByAddress() noexcept {
    if (_end == 0) return nullptr;
    auto slot = _registry->findAbove(_current, _end);
    if (slot.listener == nullptr) _end = 0;
    _number = slot.number;
    _held = std::move(slot.held);
    return _current = slot.listener;
}

bool ListenerListBase::Cursor::isStillListed() const noexcept {
    return _registry && _registry->hasNumber(_number);
}

}  // namespace Kr::detail
