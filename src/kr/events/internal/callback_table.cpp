#include "kr/events/internal/callback_table.h"

#include <utility>

#include "kr/events/event_access.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/internal/local_queues.h"

namespace KrSim::detail {
namespace {

/// Longer payloads give their memory back when their delivery ends.
constexpr std::size_t kMostKept = 64 * 1024;

}  // namespace

KrData::DelegateConnection CallbackTable::add(int id, std::function<void(const EventData&)> callback) {
    const std::lock_guard lock(_mutex);
    auto found = _lists.find(id);
    if (found == _lists.end()) {
        KrEventDispatcher::registerListener(id, &_subscriber);
        found = _lists.emplace(id, List(new Callbacks)).first;
    }
    return found->second->add(std::move(callback));
}

void CallbackTable::open() noexcept {
    const std::lock_guard lock(_mutex);
    _opening.fetch_add(1, std::memory_order_release);
}

void CallbackTable::close() noexcept {
    std::unordered_map<int, List> ended;
    std::unique_lock lock(_mutex);
    std::swap(ended, _lists);
    for (const auto& [id, list] : ended)
        KrEventDispatcher::unregisterListener(id, &_subscriber);
    const std::size_t here = _countHere();
    _leaving = std::exchange(_inside, 0);
    _opening.fetch_add(1, std::memory_order_release);
    lock.unlock();
    ended.clear();  // destroys callbacks
    lock.lock();
    _isAwaited = true;
    _left.wait(lock, [&] { return _leaving <= here; });
    _isAwaited = false;
    _onlyThread = Kr::ThreadId::kNone;
}

void CallbackTable::restrictToThisThread() noexcept {
    std::unique_lock lock(_mutex);
    _onlyThread = Kr::getCurrentThreadId();
    _isAwaited = true;
    _left.wait(lock, [here = _countHere(), this] { return _inside <= here; });
    _isAwaited = false;
}

/// Deliveries of this thread, which are below the caller on the stack and cannot end before.
std::size_t CallbackTable::_countHere() const noexcept {
    std::size_t count = 0;
    for (const auto* each = threadEvents.callbacks; each != nullptr; each = each->_outer) {
        if (&each->_table == this && each->_opening == _opening.load(std::memory_order_relaxed)) ++count;
    }
    return count;
}

void CallbackTable::_leave(std::uint64_t opening) noexcept {
    const auto current = _opening.load(std::memory_order_relaxed);
    if (opening == current) --_inside;
    if (opening + 1 == current && _leaving > 0) --_leaving;
    if (_isAwaited) _left.notify_all();
}

CallbackDelivery::CallbackDelivery(CallbackTable& table, std::uint64_t opening, int id, ThreadEvents& self) noexcept
    : _table(table), _opening(opening), _self(self) {
    CallbackTable::List ended;  // dies after the lock
    const std::lock_guard lock(table._mutex);
    if (table._opening.load(std::memory_order_relaxed) != opening) return;
    if (table._onlyThread != Kr::ThreadId::kNone && table._onlyThread != Kr::getCurrentThreadId()) return;
    const auto found = table._lists.find(id);
    if (found == table._lists.end() || found->second->isEmpty()) {
        KrEventDispatcher::unregisterListener(id, &table._subscriber);
        if (found == table._lists.end()) return;
        ended = std::move(found->second);
        table._lists.erase(found);
        return;
    }
    _callbacks.emplace(found->second.get());
    ++table._inside;
    _outer = std::exchange(_self.callbacks, this);
    if (table._spareCount > 0) _data = std::move(table._spares[--table._spareCount]);
}

CallbackDelivery::~CallbackDelivery() {
    if (isEmpty()) return;
    _self.callbacks = _outer;
    const bool isKept = _data && _data->data().size() <= kMostKept;
    const std::lock_guard lock(_table._mutex);
    _table._leave(_opening);
    if (isKept && _table._spareCount < _table._spares.size()) _table._spares[_table._spareCount++] = std::move(_data);
}

void CallbackDelivery::setPayload(const std::uint8_t* bytes, std::size_t count) {
    if (!_data) _data = std::make_unique<EventData>();
    EventDataAccess::setBytes(*_data, bytes, count);
}

}  // namespace KrSim::detail
