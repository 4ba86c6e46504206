#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/events/fwd.h"

namespace KrSim::detail {

/// The listeners of one event number, in the order of their registration. Grows at its end only, so that a delivery
/// inside may walk the part that it knew without a lock; a listener that dies becomes null.
///
/// The first delivery takes a place of its own, which it leaves with a plain store; nested deliveries and those of
/// further threads are counted.
class ListenerBlock {
public:
    static ListenerBlock* make(int id, std::size_t room);
    static void destroy(ListenerBlock* block) noexcept;

    [[nodiscard]] std::atomic<KrSimEventListener*>* entries() noexcept {
        return reinterpret_cast<std::atomic<KrSimEventListener*>*>(this + 1);
    }

    /// Under the lock, which is where deliveries enter.
    [[nodiscard]] bool isInUse() const noexcept {
        return firstIsInside.load(std::memory_order_acquire) || furtherInside.load(std::memory_order_acquire) > 0;
    }
    /// Dead entries must go before the next delivery, nulls before they are most of the list.
    [[nodiscard]] bool needsCopy() const noexcept { return hasDead || 2 * living < size; }

    std::atomic<bool> firstIsInside{false};
    std::atomic<std::uint32_t> furtherInside{0};
    std::atomic<bool> isReplaced{false};  // only deliveries still know it; written under the lock of the table
    // Under the lock of the table:
    bool hasDead{false};  // an entry was unregistered and is still in its place, because a delivery knew it
    bool isStale{false};  // in the chain of those that have dead entries or are replaced
    int id;
    std::size_t capacity;
    std::size_t size{0};
    std::size_t living{0};
    ListenerBlock* next{nullptr};  // in that chain
    ListenerBlock* previous{nullptr};

private:
    ListenerBlock(int number, std::size_t room) noexcept : id(number), capacity(room) {}
};

/// The listeners of a number at one moment. Keeps the block, not the listeners.
class ListenerSnapshot {
public:
    ListenerSnapshot() noexcept = default;
    ListenerSnapshot(ListenerSnapshot&& other) noexcept
        : _block(std::exchange(other._block, nullptr)),
          _size(std::exchange(other._size, 0)),
          _isFirst(other._isFirst) {}
    ListenerSnapshot& operator=(ListenerSnapshot&& other) noexcept {
        std::swap(_block, other._block);
        std::swap(_size, other._size);
        std::swap(_isFirst, other._isFirst);
        return *this;
    }
    ~ListenerSnapshot() {
        if (_block != nullptr) _leave();
    }

    [[nodiscard]] std::size_t size() const noexcept { return _size; }
    /// Null when the listener died.
    [[nodiscard]] KrSimEventListener* operator[](std::size_t index) const noexcept {
        return _block->entries()[index].load(std::memory_order_relaxed);
    }

private:
    friend class ListenerTable;
    explicit ListenerSnapshot(ListenerBlock& block) noexcept;
    void _leave() noexcept;
    void _leavePlace() noexcept;
    void _leaveReplaced() noexcept;

    ListenerBlock* _block{nullptr};
    std::size_t _size{0};
    bool _isFirst{false};
};

/// Who listens to what. Deliveries enter the list of a number under a short lock and walk it without; changes put a new
/// list in its place, or append behind the part that deliveries see. Unregistering makes an entry null when no delivery
/// is inside; otherwise it marks the list, and the next look at it leaves out what is gone.
///
/// A list that is replaced goes with the last delivery that leaves it. One that leaves at the very moment when another
/// thread replaces the list may miss that; the next list that is replaced takes it along.
class ListenerTable {
public:
    /// Never destroyed.
    static ListenerTable& instance();
    ListenerTable(const ListenerTable&) = delete;
    ListenerTable& operator=(const ListenerTable&) = delete;

    void add(int id, KrSimEventListener& listener);
    void remove(int id, KrSimEventListener& listener) noexcept;
    /// Ends all registrations of a dying listener, and keeps deliveries under way from calling it.
    void forget(KrSimEventListener& listener) noexcept;

    /// `generation` becomes the number of the last change that the snapshot knows.
    [[nodiscard]] ListenerSnapshot find(int id, std::uint64_t& generation);
    /// Differs from an earlier answer once the table has changed.
    [[nodiscard]] std::uint64_t getGeneration() const noexcept { return _generation.load(std::memory_order_acquire); }

private:
    friend class ListenerSnapshot;

    struct Registration {
        int id;
        const KrSimEventListener* listener;
        friend bool operator==(const Registration&, const Registration&) noexcept = default;
    };
    struct RegistrationHash {
        /// Neighbours in memory stay neighbours: listeners that were made together are found together in the cache.
        std::size_t operator()(const Registration& each) const noexcept {
            return reinterpret_cast<std::uintptr_t>(each.listener) / alignof(std::max_align_t) +
                   static_cast<std::uint32_t>(each.id) * 0x9E3779B97F4A7C15ull;
        }
    };
    struct Slot {
        int id{0};
        ListenerBlock* block{nullptr};  // null: free
    };

    ListenerTable() : _slots(64) {}
    ~ListenerTable() = delete;

    [[nodiscard]] Slot& _slotFor(int id) noexcept;
    /// Puts a copy without what is gone in the place of the slot's block.
    [[nodiscard]] ListenerBlock* _replaceByLiving(Slot& slot, std::size_t room);
    void _growSlots();
    void _letGo(ListenerBlock& block) noexcept;
    void _freeIfUnused(ListenerBlock& block) noexcept;
    void _markStale(ListenerBlock& block) noexcept;
    void _changed() noexcept { _generation.fetch_add(1, std::memory_order_release); }

    static constexpr std::size_t kBuckets = 1024;

    /// Of the registrations whose number falls into the same bucket; 0 spares the lock for numbers without listeners.
    [[nodiscard]] std::atomic<std::uint32_t>& _countNear(int id) noexcept { return _counts[hash(id) % kBuckets]; }
    [[nodiscard]] static std::size_t hash(int id) noexcept {
        return static_cast<std::size_t>(static_cast<std::uint32_t>(id) * 0x9E3779B97F4A7C15ull >> 32);
    }

    std::atomic<std::uint64_t> _generation{1};
    std::array<std::atomic<std::uint32_t>, kBuckets> _counts{};  // written under the lock

    std::mutex _mutex;         // guards the members below and, where they say so, the blocks
    std::vector<Slot> _slots;  // open addressing; the count is a power of two
    std::size_t _usedSlots{0};
    std::unordered_map<Registration, std::size_t, RegistrationHash> _places;  // in the block of the number
    ListenerBlock* _stale{nullptr};
};

inline ListenerTable::Slot& ListenerTable::_slotFor(int id) noexcept {
    const std::size_t mask = _slots.size() - 1;
    std::size_t index = hash(id) & mask;
    while (_slots[index].block != nullptr && _slots[index].id != id)
        index = (index + 1) & mask;
    return _slots[index];
}

inline ListenerSnapshot ListenerTable::find(int id, std::uint64_t& generation) {
    // The count is read second: a registration that it does not know yet has a later generation.
    generation = _generation.load(std::memory_order_acquire);
    if (_countNear(id).load(std::memory_order_relaxed) == 0) return {};
    const std::lock_guard lock(_mutex);
    generation = _generation.load(std::memory_order_relaxed);
    Slot& slot = _slotFor(id);
    ListenerBlock* block = slot.block;
    if (block != nullptr && block->needsCopy()) [[unlikely]]
        block = _replaceByLiving(slot, block->size);
    return block == nullptr || block->size == 0 ? ListenerSnapshot() : ListenerSnapshot(*block);
}

// Acquire: the thread that frees the block looks only at the last one who left the place, and must come after all
// before it.
inline ListenerSnapshot::ListenerSnapshot(ListenerBlock& block) noexcept
    : _block(&block), _size(block.size), _isFirst(!block.firstIsInside.load(std::memory_order_acquire)) {
    if (_isFirst) {
        block.firstIsInside.store(true, std::memory_order_relaxed);
    } else {
        block.furtherInside.fetch_add(1, std::memory_order_relaxed);
    }
}

inline void ListenerSnapshot::_leave() noexcept {
    if (_block->isReplaced.load(std::memory_order_relaxed)) [[unlikely]] {
        _leaveReplaced();
    } else {
        _leavePlace();  // from here on the block may be gone
    }
}

inline void ListenerSnapshot::_leavePlace() noexcept {
    if (_isFirst) {
        _block->firstIsInside.store(false, std::memory_order_release);
    } else {
        _block->furtherInside.fetch_sub(1, std::memory_order_release);
    }
}

}  // namespace KrSim::detail
