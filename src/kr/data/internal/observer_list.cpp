#include "kr/data/internal/observer_list.h"

#include <algorithm>
#include <new>
#include <utility>

#include "kr/data/field_base.h"
#include "kr/data/full_path.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/platform/guard.h"

namespace KrData::detail {

namespace {
constexpr Kr::GuardTexts kObserverTexts{Kr::eLogLevel::kWarn, "FieldBase: fatal error in '%s' observer() [%s]\n",
                                        "FieldBase: unhandled exception in '%s' observer()\n", "field observer"};
}  // namespace

ObserverEntry::ObserverEntry(ObserverList& list, ObserverFunction function)
    : _list(list), _function(std::move(function)) {
    _list._hold();
}

ObserverEntry::~ObserverEntry() {
    _list._letGo();
}

void ObserverEntry::disconnect() noexcept {
    _list._remove(*this);
}

void ObserverList::_presenceChanged(bool present) {
    if (_field != nullptr) _changed(*_field, present);
}

DelegateConnection ObserverList::add(ObserverFunction function) {
    Kr::KrSmartPtr<ObserverEntry> entry(new ObserverEntry(*this, std::move(function)));
    {
        const std::lock_guard lock(_mutex);
        const auto size = _block ? _block->size.load(std::memory_order_relaxed) : 0;
        if (!_block || size == _block->capacity) {
            const auto room = std::max<std::uint32_t>(2, _live * 2);
            _replaceBlock(_block ? _copyLive(*_block, _live, room) : Block::make(room));
        }
        const auto end = _block->size.load(std::memory_order_relaxed);
        _block->entries()[end] = entry;
        _block->size.store(end + 1, std::memory_order_release);
        if (++_live == 1) _presenceChanged(true);
    }
    _collect();
    return DelegateConnection(std::move(entry));
}

void ObserverList::_remove(ObserverEntry& entry) noexcept {
    ObserverFunction dropped;
    {
        const std::lock_guard lock(_mutex);
        if (!entry._live.exchange(false)) return;
        const auto size = _block->size.load(std::memory_order_relaxed);
        if (--_live == 0) {
            _replaceBlock(nullptr);
            _presenceChanged(false);
        } else if (size <= kAlwaysRebuildBelow || _live * 2 <= size) {
            try {
                _replaceBlock(_copyLive(*_block, _live, _live * 2));
            } catch (const std::bad_alloc&) {
                // The dead entry stays until memory can be had; nobody calls it.
            }
        } else if (!_isReaderInside()) {
            dropped = std::move(entry._function);
        }
    }
    _collect();
}

void ObserverList::clear() noexcept {
    _end(false);
}
void ObserverList::close() noexcept {
    _end(true);
}

void ObserverList::_end(bool forGood) noexcept {
    Waiting waiting;
    {
        const std::lock_guard lock(_mutex);
        if (_block) {
            const auto size = _block->size.load(std::memory_order_relaxed);
            for (std::uint32_t i = 0; i < size; ++i)
                _block->entries()[i]->_live.store(false);
            _replaceBlock(nullptr);
            _live = 0;
            _presenceChanged(false);
        }
        if (forGood) {
            _field = nullptr;
            _waiting.fieldLetsGo = true;
            _somethingWaits.store(true);
        }
        // In this step, or another thread could let go for the field, and the list would be gone.
        waiting = _takeWaiting();
    }
    _free(std::move(waiting));
}

std::unique_ptr<ObserverList::Block> ObserverList::_copyLive(const Block& block, std::uint32_t live,
                                                             std::uint32_t room) {
    auto copy = Block::make(std::max(room, live));
    const auto size = block.size.load(std::memory_order_relaxed);
    std::uint32_t used = 0;
    for (std::uint32_t i = 0; i < size && used < live; ++i) {
        if (block.entries()[i]->_live.load()) copy->entries()[used++] = block.entries()[i];
    }
    copy->size.store(used, std::memory_order_relaxed);
    return copy;
}

/// Publishes the next block; the old one waits for _collect.
void ObserverList::_replaceBlock(std::unique_ptr<Block> next) noexcept {
    auto old = std::exchange(_block, std::move(next));
    _published.store(_block.get());
    if (!old) return;
    old->nextRetired = std::move(_waiting.blocks);
    _waiting.blocks = std::move(old);
    _somethingWaits.store(true);
}

void ObserverList::_letGo() noexcept {
    if (_holders.fetch_sub(1) == 1) delete this;
}

/// Under the mutex. Nothing while a reader is inside, which then frees it when it leaves.
ObserverList::Waiting ObserverList::_takeWaiting() noexcept {
    if (_isReaderInside()) return {};
    _somethingWaits.store(false);
    return std::exchange(_waiting, {});
}

/// The last use of the list: what is freed may be the last that holds it.
void ObserverList::_free(Waiting waiting) noexcept {
    while (waiting.blocks)
        waiting.blocks = std::move(waiting.blocks->nextRetired);
    if (waiting.fieldLetsGo) _letGo();
}

void ObserverList::_collect() noexcept {
    if (!_somethingWaits.load()) return;
    Waiting waiting;
    {
        const std::lock_guard lock(_mutex);
        waiting = _takeWaiting();
    }
    _free(std::move(waiting));
}

void ObserverList::_leaveAndCollect(bool isFirst) noexcept {
    Waiting waiting;
    {
        // In one step, or another thread could collect in between, and the list with it.
        const std::lock_guard lock(_mutex);
        _leave(isFirst);
        waiting = _takeWaiting();
    }
    _free(std::move(waiting));
}

void ObserverList::Reader::notify(const FieldBase& changed, const NotificationFrame& frame) const {
    for (std::uint32_t i = 0; i < _size && !frame.changedDied(); ++i) {
        auto& entry = *_entries[i];
        if (!entry._live.load()) continue;
        Kr::callGuarded(
            kObserverTexts, [&] { return frame.changedDied() ? std::string("(dead field)") : getFullPath(changed); },
            [&] { entry._function(changed); });
    }
}

}  // namespace KrData::detail
