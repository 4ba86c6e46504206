#pragma once

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <vector>

namespace Kr {

/// Borrowed listeners, called in the order of their registration. They may be added and removed during a call: a new
/// one waits for the next time, a removed one is skipped. Calling and removing allocate nothing, so that destructors
/// may do both.
///
/// Thread: any. No lock is held over a call; one that is removed on another thread may still be in a call.
template <class Listener>
class ListenerSlots {
public:
    ListenerSlots() = default;
    ListenerSlots(const ListenerSlots&) = delete;
    ListenerSlots& operator=(const ListenerSlots&) = delete;

    /// False for null, and when it is there already.
    bool add(Listener* listener) {
        if (listener == nullptr) return false;
        const std::lock_guard lock(_mutex);
        if (std::find(_slots.begin(), _slots.end(), listener) != _slots.end()) return false;
        _slots.push_back(listener);
        return true;
    }
    /// Whether it was there.
    bool remove(Listener* listener) noexcept {
        if (listener == nullptr) return false;
        const std::lock_guard lock(_mutex);
        const auto found = std::find(_slots.begin(), _slots.end(), listener);
        if (found == _slots.end()) return false;
        *found = nullptr;
        _closeUp();
        return true;
    }
    [[nodiscard]] bool contains(const Listener* listener) const noexcept {
        const std::lock_guard lock(_mutex);
        return listener != nullptr && std::find(_slots.begin(), _slots.end(), listener) != _slots.end();
    }
    /// Calls the function with each of them. It must not throw, and this must outlive the call.
    template <class Call>
    void forEach(const Call& call) noexcept {
        std::size_t count = 0;
        {
            const std::lock_guard lock(_mutex);
            if (_slots.empty()) return;
            count = _slots.size();
            ++_walks;
        }
        for (std::size_t i = 0; i < count; ++i) {
            if (auto* listener = _at(i)) call(*listener);
        }
        const std::lock_guard lock(_mutex);
        --_walks;
        _closeUp();
    }

private:
    [[nodiscard]] Listener* _at(std::size_t index) const noexcept {
        const std::lock_guard lock(_mutex);
        return _slots[index];
    }
    void _closeUp() noexcept {
        if (_walks == 0) std::erase(_slots, nullptr);
    }

    mutable std::mutex _mutex;      // guards the two below
    std::vector<Listener*> _slots;  // null where one was removed during a walk
    int _walks{0};
};

}  // namespace Kr
