#include "kr/data/internal/observer_list.h"

#include <algorithm>
#include <new>
#include <utility>

#include "kr/data/field_base.h"
#include "kr/data/i_field_owner.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/platform/guard.h"

namespace KrData::detail {

namespace {
constexpr Kr::GuardTexts kObserverTexts{Kr::eLogLevel::kWarn, "FieldBase: fatal error in '%s' observer() [%s]\n",
                                        "FieldBase: unhandled exception in '%s' observer()\n"};
}  // namespace

ObserverEntry::ObserverEntry(ObserverList& list, ObserverFunction function)
    : _list(list), _function(std::move(function)) {
    _list._uses.fetch_add(ObserverList::kHolder);
}

ObserverEntry::~ObserverEntry() {
    _list._releaseHolder();
}

void ObserverEntry::disconnect() noexcept {
    _list._remove(*this);
}

DelegateConnection ObserverList::add(ObserverFunction function) {
    Kr::KrSmartPtr<ObserverEntry> entry(new ObserverEntry(*this, std::move(function)));
    std::unique_ptr<Block> obsolete;
    IFieldOwner* owner = nullptr;
    {
        const std::lock_guard lock(_mutex);
        const auto size = _block ? _block->size.load(std::memory_order_relaxed) : 0;
        if (!_block || size == _block->capacity) {
            const auto room = std::max<std::uint32_t>(2, _live * 2);
            auto next = _block ? _copyLive(*_block, _live, room) : std::make_unique<Block>(room);
            obsolete = _replaceBlock(std::move(next));
        }
        const auto end = _block->size.load(std::memory_order_relaxed);
        _block->entries[end] = entry;
        _block->size.store(end + 1, std::memory_order_release);
        if (++_live == 1 && _field != nullptr) owner = _changed(*_field, true);
    }
    if (owner != nullptr) owner->_onOutputCountsChanged(0, +1);
    return DelegateConnection(std::move(entry));
}

void ObserverList::_remove(ObserverEntry& entry) noexcept {
    std::unique_ptr<Block> obsolete;
    ObserverFunction dropped;
    IFieldOwner* owner = nullptr;
    {
        const std::lock_guard lock(_mutex);
        if (!entry._live.exchange(false)) return;
        const auto size = _block->size.load(std::memory_order_relaxed);
        if (--_live == 0) {
            obsolete = _replaceBlock(nullptr);
            if (_field != nullptr) owner = _changed(*_field, false);
        } else if (size <= kAlwaysRebuildBelow || _live * 2 <= size) {
            try {
                obsolete = _replaceBlock(_copyLive(*_block, _live, _live * 2));
            } catch (const std::bad_alloc&) {
                // The dead entry stays until memory can be had; nobody calls it.
            }
        } else if ((_uses.load() & kReaders) == 0) {
            dropped = std::move(entry._function);
        }
    }
    if (owner != nullptr) owner->_onOutputCountsChanged(0, -1);
}

void ObserverList::clear() noexcept {
    _end(false);
}

void ObserverList::close() noexcept {
    _end(true);
    _releaseHolder();
}

void ObserverList::_end(bool forGood) noexcept {
    std::unique_ptr<Block> obsolete;
    IFieldOwner* owner = nullptr;
    {
        const std::lock_guard lock(_mutex);
        if (_block) {
            const auto size = _block->size.load(std::memory_order_relaxed);
            for (std::uint32_t i = 0; i < size; ++i)
                _block->entries[i]->_live.store(false);
            obsolete = _replaceBlock(nullptr);
            _live = 0;
            if (_field != nullptr) owner = _changed(*_field, false);
        }
        if (forGood) _field = nullptr;
    }
    if (owner != nullptr) owner->_onOutputCountsChanged(0, -1);
}

std::unique_ptr<ObserverList::Block> ObserverList::_copyLive(const Block& block, std::uint32_t live,
                                                             std::uint32_t room) {
    auto copy = std::make_unique<Block>(std::max(room, live));
    const auto size = block.size.load(std::memory_order_relaxed);
    std::uint32_t used = 0;
    for (std::uint32_t i = 0; i < size && used < live; ++i) {
        if (block.entries[i]->_live.load()) copy->entries[used++] = block.entries[i];
    }
    copy->size.store(used, std::memory_order_relaxed);
    return copy;
}

/// Publishes the next block; answers the old one when it may be freed at once (by the caller, after the lock).
std::unique_ptr<ObserverList::Block> ObserverList::_replaceBlock(std::unique_ptr<Block> next) noexcept {
    auto old = std::exchange(_block, std::move(next));
    _published.store(_block.get());
    if (!old) return nullptr;
    if ((_uses.fetch_or(kBlockWaits) & kReaders) == 0) {
        _uses.fetch_and(~kBlockWaits);
        return old;
    }
    old->nextRetired = std::move(_retired);
    _retired = std::move(old);
    return nullptr;
}

void ObserverList::_releaseHolder() noexcept {
    if (_uses.fetch_sub(kHolder) == kHolder) delete this;
}

void ObserverList::_leave() noexcept {
    auto uses = _uses.load();
    do {
        while ((uses & kReaders) == kReader && (uses & kBlockWaits) != 0) {
            _freeRetired();
            uses = _uses.load();
        }
    } while (!_uses.compare_exchange_weak(uses, uses - kReader));
    if (uses == kReader) delete this;
}

void ObserverList::_freeRetired() noexcept {
    std::unique_ptr<Block> obsolete;
    const std::lock_guard lock(_mutex);
    // The one reader left is the caller, which is done; those that come now see the published block.
    if ((_uses.load() & kReaders) == kReader) {
        obsolete = std::move(_retired);
        _uses.fetch_and(~kBlockWaits);
    }
}

ObserverList::Reader::Reader(ObserverList* list) noexcept : _list(list) {
    if (_list == nullptr) return;
    _list->_uses.fetch_add(kReader);
    if (const auto* block = _list->_published.load()) {
        _size = block->size.load(std::memory_order_acquire);
        _entries = block->entries.get();
    }
}

ObserverList::Reader::~Reader() {
    if (_list != nullptr) _list->_leave();
}

void ObserverList::Reader::notify(const FieldBase& changed, const NotificationFrame& frame) const {
    for (std::uint32_t i = 0; i < _size && !frame.changedDied(); ++i) {
        auto& entry = *_entries[i];
        if (!entry._live.load()) continue;
        Kr::callGuarded(
            kObserverTexts, [&] { return frame.changedDied() ? std::string("(dead field)") : changed.getID().str(); },
            [&] { entry._function(changed); });
    }
}

}  // namespace KrData::detail
