#include "kr/signals/snapshot_list.h"

#include <algorithm>

#include "kr/platform/ref_count_access.h"

namespace Kr {

SnapshotList::Entry::Entry(SnapshotList& list) noexcept : _list(list) {
    _list._hold();
}

SnapshotList::Entry::~Entry() {
    _list._release();
}

void SnapshotList::Entry::disconnect() noexcept {
    _list._remove(*this);
}

SnapshotList::~SnapshotList() = default;

void SnapshotList::_presenceChanged(bool present) {
    if (_source != nullptr && _changed != nullptr) _changed(_source, present);
}

void SnapshotList::_add(KrSmartPtr<Entry> entry) {
    {
        const std::lock_guard lock(_mutex);
        if (!_block || _block->size.load(std::memory_order_relaxed) == _block->capacity) _rebuild(_live * 2);
        const auto end = _block->size.load(std::memory_order_relaxed);
        _block->entries()[end] = detail::RefCountAccess::detach(entry);
        _block->size.store(end + 1, std::memory_order_release);
        if (++_live == 1) _presenceChanged(true);
    }
    _collect();
}

void SnapshotList::_remove(Entry& entry) noexcept {
    bool isDropped = false;
    {
        const std::lock_guard lock(_mutex);
        if (!entry._live.exchange(false)) return;
        const auto size = _block->size.load(std::memory_order_relaxed);
        if (--_live == 0) {
            _replaceBlock(nullptr);
            _presenceChanged(false);
        } else if (size <= kAlwaysRebuildBelow || _live * 2 <= size) {
            _tryRebuild();
        } else if (_isReaderInside()) {
            _hasEnded = true;
            _somethingWaits.store(true);
        } else {
            isDropped = entry._isDropped = true;
        }
    }
    // Without the lock: it is code of others. A reader that has come since sees that the entry is dead.
    if (isDropped) entry._dropFunction();
    _collect();
}

void SnapshotList::clear() noexcept {
    _end(false);
}
void SnapshotList::close() noexcept {
    _end(true);
}

void SnapshotList::_end(bool forGood) noexcept {
    Waiting waiting;
    {
        const std::lock_guard lock(_mutex);
        if (_block) {
            const auto size = _block->size.load(std::memory_order_relaxed);
            for (std::uint32_t i = 0; i < size; ++i)
                _block->entries()[i]->_live.store(false);
            _live = 0;
            _replaceBlock(nullptr);
            _presenceChanged(false);
        }
        if (forGood) {
            _source = nullptr;
            _waiting.sourceLeaves = true;
            _somethingWaits.store(true);
        }
        // In this step; otherwise another thread could release the source's hold, and the list would be destroyed.
        waiting = _takeWaiting();
    }
    _free(std::move(waiting));
}

/// Continues with a block of the living entries.
void SnapshotList::_rebuild(std::uint32_t room) {
    auto next = Block::make(std::max<std::uint32_t>({2, room, _live}));
    const auto size = _block ? _block->size.load(std::memory_order_relaxed) : 0;
    const auto isLive = [all = size == _live](const Entry* each) { return all || each->_live.load(); };
    if (size > 0) std::copy_if(_block->entries(), _block->entries() + size, next->entries(), isLive);
    next->size.store(_live, std::memory_order_relaxed);
    _replaceBlock(std::move(next));
}

void SnapshotList::_tryRebuild() noexcept {
    try {
        _rebuild(_live * 2);
    } catch (const std::bad_alloc&) {
        // The dead entries stay in their places until there is memory; readers skip them.
    }
}

/// Publishes the next block; the old one, and the entries that are not in the next one, wait for _collect.
void SnapshotList::_replaceBlock(std::unique_ptr<Block> next) noexcept {
    auto old = std::exchange(_block, std::move(next));
    _published.store(_block.get());
    _hasEnded = false;
    if (!old) return;
    const auto size = old->size.load(std::memory_order_relaxed);
    for (std::uint32_t i = 0; i < size && size != _live; ++i) {
        auto* entry = old->entries()[i];
        if (!entry->_live.load()) entry->_nextEnded = std::exchange(_waiting.ended, entry);
    }
    old->nextRetired = std::move(_waiting.blocks);
    _waiting.blocks = std::move(old);
    _somethingWaits.store(true);
}

void SnapshotList::_release() noexcept {
    if (_holders.fetch_sub(1) == 1) delete this;
}

/// Under the mutex. Nothing while a reader is inside, which then frees it when it leaves.
SnapshotList::Waiting SnapshotList::_takeWaiting() noexcept {
    if (_hasEnded && !_isReaderInside()) _tryRebuild();
    if (_isReaderInside()) return {};  // read after the replacement: a reader may have entered meanwhile
    _somethingWaits.store(false);
    return std::exchange(_waiting, {});
}

/// The last use of the list: what is freed may be the last that holds it.
void SnapshotList::_free(Waiting waiting) noexcept {
    while (waiting.blocks)
        waiting.blocks = std::move(waiting.blocks->nextRetired);
    while (auto* entry = waiting.ended) {
        waiting.ended = entry->_nextEnded;
        if (!entry->_isDropped) entry->_dropFunction();
        detail::RefCountAccess::release(*entry);
    }
    if (waiting.sourceLeaves) _release();
}

void SnapshotList::_collect() noexcept {
    if (!_somethingWaits.load()) return;
    Waiting waiting;
    {
        const std::lock_guard lock(_mutex);
        waiting = _takeWaiting();
    }
    _free(std::move(waiting));
}

void SnapshotList::_leaveAndCollect(bool isFirst) noexcept {
    Waiting waiting;
    {
        // In one step, or another thread could collect in between, and the list with it.
        const std::lock_guard lock(_mutex);
        _leave(isFirst);
        waiting = _takeWaiting();
    }
    _free(std::move(waiting));
}

}  // namespace Kr
