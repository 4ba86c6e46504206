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
    if (_registrations.count({id, &listener}) > 0) return;
    if (2 * (_usedSlots + 1) > _slots.size()) _growSlots();
    Slot& slot = _slotFor(id);
    ListenerBlock* block = slot.block;
    if (block == nullptr) {
        block = _make(id, 2);
        slot = {id, block};
        ++_usedSlots;
    } else if (block->hasDead || block->size == block->capacity) {
        // Before the registration is entered: a dead entry of the same listener must not come back to life.
        block = _replaceByLiving(slot, std::max<std::size_t>(2, 2 * block->size));
    }
    _registrations.insert({id, &listener});
    block->entries()[block->size++].store(&listener, std::memory_order_relaxed);
    ++listener._registrations;
    listener._wasRegistered = true;
    _changed();
}

void ListenerTable::remove(int id, KrSimEventListener& listener) noexcept {
    const std::lock_guard lock(_mutex);
    if (_registrations.erase({id, &listener}) == 0) return;
    --listener._registrations;
    ListenerBlock& block = *_slotFor(id).block;
    block.hasDead = true;
    _markStale(block);
    _changed();
}

void ListenerTable::forget(KrSimEventListener& listener) noexcept {
    const std::lock_guard lock(_mutex);
    if (listener._registrations == 0 && _staleBlocks == 0) return;
    for (ListenerBlock* block = _blocks; block != nullptr; block = block->next) {
        for (std::size_t i = 0; i < block->size; ++i) {
            auto& entry = block->entries()[i];
            if (entry.load(std::memory_order_relaxed) != &listener) continue;
            entry.store(nullptr, std::memory_order_relaxed);
            _registrations.erase({block->id, &listener});
            block->hasDead = true;
            _markStale(*block);
        }
    }
    _changed();
}

ListenerBlock* ListenerTable::_make(int id, std::size_t room) {
    ListenerBlock* block = ListenerBlock::make(id, room);
    block->next = _blocks;
    if (_blocks != nullptr) _blocks->previous = block;
    return _blocks = block;
}

ListenerBlock* ListenerTable::_replaceByLiving(Slot& slot, std::size_t room) {
    ListenerBlock& old = *slot.block;
    ListenerBlock* copy = _make(old.id, room);
    for (std::size_t i = 0; i < old.size; ++i) {
        auto* listener = old.entries()[i].load(std::memory_order_relaxed);
        if (listener == nullptr || (old.hasDead && _registrations.count({old.id, listener}) == 0)) continue;
        copy->entries()[copy->size++].store(listener, std::memory_order_relaxed);
    }
    slot.block = copy;
    _letGo(&old);
    return copy;
}

/// Leaves out the numbers that nobody listens to any more.
void ListenerTable::_growSlots() {
    std::vector<Slot> old(_slots.size() * 2);
    std::swap(old, _slots);
    _usedSlots = 0;
    for (const Slot& each : old) {
        if (each.block == nullptr) continue;
        if (each.block->size == 0) {
            _letGo(each.block);
            continue;
        }
        _slotFor(each.id) = each;
        ++_usedSlots;
    }
}

/// The table no longer holds the block.
void ListenerTable::_letGo(ListenerBlock* block) noexcept {
    _markStale(*block);
    if (block->references.fetch_sub(1, std::memory_order_acq_rel) == 1) _free(block);
}

void ListenerTable::_free(ListenerBlock* block) noexcept {
    if (block->isStale) --_staleBlocks;
    if (block->next != nullptr) block->next->previous = block->previous;
    (block->previous != nullptr ? block->previous->next : _blocks) = block->next;
    ListenerBlock::destroy(block);
}

void ListenerTable::_markStale(ListenerBlock& block) noexcept {
    if (!block.isStale) ++_staleBlocks;
    block.isStale = true;
}

}  // namespace KrSim::detail
