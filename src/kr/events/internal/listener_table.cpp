#include "kr/events/internal/listener_table.h"

#include <algorithm>
#include <new>

#include "kr/events/sim_event_listener.h"

namespace KrSim::detail {

ListenerBlock* ListenerBlock::make(int id, std::size_t room) {
    using Entry = std::atomic<KrSimEventListener*>;
    static_assert(sizeof(ListenerBlock) % alignof(Entry) == 0 && std::is_trivially_destructible_v<Entry>);
    void* memory = ::operator new(sizeof(ListenerBlock) + room * sizeof(Entry));
    auto* block = new (memory) ListenerBlock(id, room);
    std::uninitialized_value_construct_n(block->entries(), room);
    return block;
}

void ListenerSnapshot::_leaveReplaced() noexcept {
    auto& table = ListenerTable::instance();
    const std::lock_guard lock(table._mutex);
    _leavePlace();
    table._freeIfUnused(*_block);
}

void ListenerBlock::destroy(ListenerBlock* block) noexcept {
    block->~ListenerBlock();
    ::operator delete(block);
}

ListenerTable& ListenerTable::instance() {
    static auto& table = *new ListenerTable;
    return table;
}

void ListenerTable::add(int id, KrSimEventListener& listener) {
    const std::lock_guard lock(_mutex);
    if (_places.count({id, &listener}) > 0) return;
    if (2 * (_usedSlots + 1) > _slots.size()) _growSlots();
    Slot& slot = _slotFor(id);
    ListenerBlock* block = slot.block;
    if (block == nullptr) {
        block = ListenerBlock::make(id, 2);
        slot = {id, block};
        ++_usedSlots;
    } else if (block->size == block->capacity) {
        block = _replaceByLiving(slot, std::max<std::size_t>(2, 2 * block->size));
    }
    listener._wasRegistered = true;
    listener._ids.push_back(id);  // one too many, should memory end here, is passed over later
    _places.emplace(Registration{id, &listener}, block->size);
    _countNear(id).fetch_add(1, std::memory_order_relaxed);
    block->entries()[block->size++].store(&listener, std::memory_order_relaxed);
    ++block->living;
    _changed();
}

void ListenerTable::remove(int id, KrSimEventListener& listener) noexcept {
    const std::lock_guard lock(_mutex);
    const auto found = _places.find({id, &listener});
    if (found == _places.end()) return;
    ListenerBlock& block = *_slotFor(id).block;
    if (block.isInUse()) {
        block.hasDead = true;
        _markStale(block);
    } else {
        block.entries()[found->second].store(nullptr, std::memory_order_relaxed);
    }
    --block.living;
    _places.erase(found);
    _countNear(id).fetch_sub(1, std::memory_order_relaxed);
    listener._ids.erase(std::find(listener._ids.begin(), listener._ids.end(), id));
    _changed();
}

void ListenerTable::forget(KrSimEventListener& listener) noexcept {
    const std::lock_guard lock(_mutex);
    for (const int id : listener._ids) {
        const auto found = _places.find({id, &listener});
        if (found == _places.end()) continue;
        ListenerBlock& block = *_slotFor(id).block;
        block.entries()[found->second].store(nullptr, std::memory_order_relaxed);
        --block.living;
        _places.erase(found);
        _countNear(id).fetch_sub(1, std::memory_order_relaxed);
    }
    // Lists that only deliveries know may name it too.
    for (ListenerBlock* block = _stale; block != nullptr; block = block->next) {
        for (std::size_t i = 0; i < block->size; ++i) {
            auto& entry = block->entries()[i];
            if (entry.load(std::memory_order_relaxed) == &listener) entry.store(nullptr, std::memory_order_relaxed);
        }
    }
    _changed();
}

ListenerBlock* ListenerTable::_replaceByLiving(Slot& slot, std::size_t room) {
    ListenerBlock& old = *slot.block;
    ListenerBlock* copy = ListenerBlock::make(old.id, room);
    for (std::size_t i = 0; i < old.size; ++i) {
        auto* listener = old.entries()[i].load(std::memory_order_relaxed);
        const auto found = listener != nullptr ? _places.find({old.id, listener}) : _places.end();
        // A listener that came back has its place further down.
        if (found == _places.end() || found->second != i) continue;
        found->second = copy->size;
        copy->entries()[copy->size++].store(listener, std::memory_order_relaxed);
    }
    copy->living = copy->size;
    slot.block = copy;
    _letGo(old);
    return copy;
}

/// Leaves out the numbers that nobody listens to any more.
void ListenerTable::_growSlots() {
    std::vector<Slot> old(_slots.size() * 2);
    std::swap(old, _slots);
    _usedSlots = 0;
    for (const Slot& each : old) {
        if (each.block == nullptr) continue;
        if (each.block->living == 0) {
            _letGo(*each.block);
            continue;
        }
        _slotFor(each.id) = each;
        ++_usedSlots;
    }
}

/// The block has left its slot.
void ListenerTable::_letGo(ListenerBlock& block) noexcept {
    _markStale(block);
    block.isReplaced.store(true, std::memory_order_relaxed);
    for (ListenerBlock* next = _stale; next != nullptr;) {
        ListenerBlock& each = *std::exchange(next, next->next);
        if (each.isReplaced.load(std::memory_order_relaxed)) _freeIfUnused(each);
    }
}

/// Only a replaced block: nobody enters it any more.
void ListenerTable::_freeIfUnused(ListenerBlock& block) noexcept {
    if (block.isInUse()) return;
    if (block.next != nullptr) block.next->previous = block.previous;
    (block.previous != nullptr ? block.previous->next : _stale) = block.next;
    ListenerBlock::destroy(&block);
}

void ListenerTable::_markStale(ListenerBlock& block) noexcept {
    if (std::exchange(block.isStale, true)) return;
    block.next = _stale;
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): takes the first of the list for one with a previous
    if (_stale != nullptr) _stale->previous = &block;
    _stale = &block;
}

}  // namespace KrSim::detail
