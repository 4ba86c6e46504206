#pragma once

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

/// The listeners of one event number, in the order of their registration. Grows at its end only, so that whoever holds
/// a reference may walk the part that it knew without a lock; a listener that dies becomes null.
class ListenerBlock {
public:
    static ListenerBlock* make(int id, std::size_t room);
    static void destroy(ListenerBlock* block) noexcept;

    [[nodiscard]] std::atomic<KrSimEventListener*>* entries() noexcept {
        return reinterpret_cast<std::atomic<KrSimEventListener*>*>(this + 1);
    }

    /// Dead entries must go before the next delivery, nulls before they are most of the list.
    [[nodiscard]] bool needsCopy() const noexcept { return hasDead || 2 * nulls > size; }

    std::atomic<std::uint32_t> references{1};
    // Under the lock of the table:
    bool hasDead{false};  // an entry was unregistered and is still in its place, because a delivery knew it
    bool isStale{false};  // has dead entries, or is held by deliveries only
    int id;
    std::size_t capacity;
    std::size_t size{0};
    std::size_t nulls{0};
    ListenerBlock* next{nullptr};  // in the chain of all blocks
    ListenerBlock* previous{nullptr};

private:
    ListenerBlock(int number, std::size_t room) noexcept : id(number), capacity(room) {}
};

/// The listeners of a number at one moment. Holds the block, not the listeners.
class ListenerSnapshot {
public:
    ListenerSnapshot() noexcept = default;
    ListenerSnapshot(ListenerSnapshot&& other) noexcept
        : _block(std::exchange(other._block, nullptr)), _size(std::exchange(other._size, 0)) {}
    ListenerSnapshot& operator=(ListenerSnapshot&& other) noexcept {
        std::swap(_block, other._block);
        std::swap(_size, other._size);
        return *this;
    }
    ~ListenerSnapshot() {
        if (_block != nullptr) _release();
    }

    [[nodiscard]] std::size_t size() const noexcept { return _size; }
    /// Null when the listener died.
    [[nodiscard]] KrSimEventListener* operator[](std::size_t index) const noexcept {
        return _block->entries()[index].load(std::memory_order_relaxed);
    }

private:
    friend class ListenerTable;
    ListenerSnapshot(ListenerBlock* block, std::size_t size) noexcept : _block(block), _size(size) {}
    void _release() noexcept;

    ListenerBlock* _block{nullptr};
    std::size_t _size{0};
};

/// Who listens to what. Deliveries take a reference on the list of a number under a short lock and walk it without;
/// changes put a new list in its place, or append behind the part that deliveries see. Unregistering makes an entry
/// null when no delivery knows the list; otherwise it marks the list, and the next look at it leaves out what is gone.
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
    [[nodiscard]] ListenerBlock* _make(int id, std::size_t room);
    /// Puts a copy without what is gone in the place of the slot's block.
    [[nodiscard]] ListenerBlock* _replaceByLiving(Slot& slot, std::size_t room);
    void _makeNull(ListenerBlock& block, std::size_t index) noexcept;
    void _growSlots();
    void _letGo(ListenerBlock* block) noexcept;
    void _free(ListenerBlock* block) noexcept;
    void _markStale(ListenerBlock& block) noexcept;
    void _changed() noexcept { _generation.fetch_add(1, std::memory_order_release); }

    std::atomic<std::uint64_t> _generation{1};

    std::mutex _mutex;         // guards the members below and, where they say so, the blocks
    std::vector<Slot> _slots;  // open addressing; the count is a power of two
    std::size_t _usedSlots{0};
    std::unordered_map<Registration, std::size_t, RegistrationHash> _places;  // in the block of the number
    ListenerBlock* _blocks{nullptr};  // all that live, also those that only deliveries still hold
    std::size_t _staleBlocks{0};
};

inline ListenerTable::Slot& ListenerTable::_slotFor(int id) noexcept {
    const std::size_t mask = _slots.size() - 1;
    auto index = static_cast<std::size_t>(static_cast<std::uint32_t>(id) * 0x9E3779B97F4A7C15ull >> 32) & mask;
    while (_slots[index].block != nullptr && _slots[index].id != id)
        index = (index + 1) & mask;
    return _slots[index];
}

inline ListenerSnapshot ListenerTable::find(int id, std::uint64_t& generation) {
    const std::lock_guard lock(_mutex);
    generation = _generation.load(std::memory_order_relaxed);
    Slot& slot = _slotFor(id);
    ListenerBlock* block = slot.block;
    if (block != nullptr && block->needsCopy()) [[unlikely]]
        block = _replaceByLiving(slot, block->size);
    if (block == nullptr || block->size == 0) return {};
    block->references.fetch_add(1, std::memory_order_relaxed);
    return {block, block->size};
}

inline void ListenerSnapshot::_release() noexcept {
    // Only the last reference of a block that the table has replaced meets the lock.
    if (_block->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        auto& table = ListenerTable::instance();
        const std::lock_guard lock(table._mutex);
        table._free(_block);
    }
}

}  // namespace KrSim::detail
