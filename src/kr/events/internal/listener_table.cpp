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
    if (_places.count({id, &listener}) > 0) return;
    if (2 * (_usedSlots + 1) > _slots.size()) _growSlots();
    Slot& slot = _slotFor(id);
    ListenerBlock* block = slot.block;
    if (block == nullptr) {
        block = _make(id, 2);
        slot = {id, block};
        ++_usedSlots;
    } else if (block->size == block->capacity) {
        block = _replaceByLiving(slot, std::max<std::size_t>(2, 2 * block->size));
    }
    listener._wasRegistered = true;
    listener._ids.push_back(id);  // one too many, should memory end here, is passed over later
    _places.emplace(Registration{id, &listener}, block->size);
    block->entries()[block->size++].store(&listener, std::memory_order_relaxed);
    _changed();
}

void ListenerTable::remove(int id, KrSimEventListener& listener) noexcept {
    const std::lock_guard lock(_mutex);
    const auto found = _places.find({id, &listener});
    if (found == _places.end()) return;
    ListenerBlock& block = *_slotFor(id).block;
    if (block.references.load(std::memory_order_acquire) == 1) {
        _makeNull(block, found->second);
    } else {
        block.hasDead = true;
        _markStale(block);
    }
    _places.erase(found);
    listener._ids.erase(std::find(listener._ids.begin(), listener._ids.end(), id));
    _changed();
}

void ListenerTable::forget(KrSimEventListener& listener) noexcept {
    const std::lock_guard lock(_mutex);
    for (const int id : listener._ids) {
        const auto found = _places.find({id, &listener});
        if (found == _places.end()) continue;
        _makeNull(*_slotFor(id).block, found->second);
        _places.erase(found);
    }
    // Lists that deliveries hold may know it too.
    for (ListenerBlock* block = _staleBlocks > 0 ? _blocks : nullptr; block != nullptr; block = block->next) {
        if (!block->isStale) continue;
        for (std::size_t i = 0; i < block->size; ++i) {
            if (block->entries()[i].load(std::memory_order_relaxed) == &listener) _makeNull(*block, i);
        }
    }
    _changed();
}

void ListenerTable::_makeNull(ListenerBlock& block, std::size_t index) noexcept {
    block.entries()[index].store(nullptr, std::memory_order_relaxed);
    ++block.nulls;
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
        const auto found = listener != nullptr ? _places.find({old.id, listener}) : _places.end();
        // A listener that came back has its place further down.
        if (found == _places.end() || found->second != i) continue;
        found->second = copy->size;
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
