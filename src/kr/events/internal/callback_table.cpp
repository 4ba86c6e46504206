#include "kr/events/internal/callback_table.h"

#include "kr/events/event_dispatcher.h"
#include "kr/events/internal/local_queues.h"

namespace KrSim::detail {
namespace {

/// Longer payloads give their memory back at once.
constexpr std::size_t kMostKept = 64 * 1024;

/// Records on their way out. Needs no memory, and destroys them one after the other however many they are.
class DroppedRecords {
public:
    DroppedRecords() noexcept = default;
    DroppedRecords(const DroppedRecords&) = delete;
    DroppedRecords& operator=(const DroppedRecords&) = delete;
    ~DroppedRecords() {
        while (_first)
            _first = std::exchange(_first->nextDropped, nullptr);
    }

    /// Only from a current list: what is dropped has left all other current lists, so it stands in no other chain.
    void takeFrom(CallbackList& list) noexcept {
        for (auto& record : list.records) {
            if (!record || !record->isDropped.load(std::memory_order_relaxed)) continue;
            record->nextDropped = std::move(_first);
            _first = std::move(record);
            record.reset();
        }
        list.hasDropped = false;
    }

private:
    Kr::KrSmartPtr<CallbackRecord> _first;
};

/// The list if nobody is inside; otherwise null, and the list goes to the last one who leaves.
std::unique_ptr<CallbackList> retire(std::unique_ptr<CallbackList> list) noexcept {
    list->isCurrent = false;
    if (list->deliveries > 0) static_cast<void>(list.release());
    return list;
}

}  // namespace

void CallbackTable::add(const Kr::KrSmartPtr<CallbackRecord>& record) {
    const std::lock_guard lock(_mutex);
    const auto opening = _opening.load(std::memory_order_relaxed);
    Entry& entry = _entries[record->id];
    if (!entry.list) {
        entry.list = std::make_unique<CallbackList>(*this, opening, record->id);
    } else if (entry.list->deliveries > 0) {
        _replaceByLiving(entry);
    } else {
        _removeNulls(*entry.list);
    }
    CallbackList& list = *entry.list;
    list.records.push_back(record);
    record->index = list.records.size() - 1;
    record->opening = opening;
    ++list.living;
    if (!entry.isSubscribed) KrEventDispatcher::registerListener(record->id, &_subscriber);
    entry.isSubscribed = true;
}

void CallbackTable::drop(Kr::KrSmartPtr<CallbackRecord> record) noexcept {
    Kr::KrSmartPtr<CallbackRecord> inList;  // let go after the lock, as the record itself
    const std::lock_guard lock(_mutex);
    record->isDropped.store(true, std::memory_order_relaxed);
    if (record->opening != _opening.load(std::memory_order_relaxed)) return;
    const auto found = _entries.find(record->id);
    if (record->index == CallbackRecord::kNowhere || found == _entries.end()) return;
    CallbackList& list = *found->second.list;
    --list.living;
    if (list.deliveries == 0) {
        inList = std::exchange(list.records[record->index], nullptr);
    } else {
        list.hasDropped = true;
    }
}

void CallbackTable::open() noexcept {
    const std::lock_guard lock(_mutex);
    _opening.fetch_add(1, std::memory_order_release);
}

void CallbackTable::close() noexcept {
    std::unordered_map<int, Entry> ended;  // dies after the lock
    std::unique_lock lock(_mutex);
    const auto opening = _opening.load(std::memory_order_relaxed);
    std::swap(ended, _entries);
    _leaving = std::exchange(_inside, 0);
    for (auto& [id, entry] : ended) {
        if (entry.isSubscribed) KrEventDispatcher::unregisterListener(id, &_subscriber);
        if (entry.list) entry.list = retire(std::move(entry.list));
    }
    const std::size_t here = _countHere();
    _opening.store(opening + 1, std::memory_order_release);
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
        const auto& list = *each->_list;
        if (&list.table == this && list.opening == _opening.load(std::memory_order_relaxed)) ++count;
    }
    return count;
}

void CallbackTable::_leave(const CallbackList& list) noexcept {
    const auto opening = _opening.load(std::memory_order_relaxed);
    if (list.opening == opening) --_inside;
    if (list.opening + 1 == opening && _leaving > 0) --_leaving;
    if (_isAwaited) _left.notify_all();
}

CallbackList* CallbackTable::_find(int id) noexcept {
    const auto found = _entries.find(id);
    if (found == _entries.end()) return nullptr;
    auto& list = found->second.list;
    if (list && list->living > 0) {
        if (list->deliveries == 0) _removeNulls(*list);
        return list.get();
    }
    KrEventDispatcher::unregisterListener(id, &_subscriber);
    if (list) list = retire(std::move(list));  // with nothing but nulls, unless deliveries hold it
    _entries.erase(found);
    return nullptr;
}

void CallbackTable::_replaceByLiving(Entry& entry) {
    auto living = std::make_unique<CallbackList>(*this, entry.list->opening, entry.list->id);
    living->records.reserve(entry.list->living + 1);
    for (const auto& record : entry.list->records) {
        if (!record || record->isDropped.load(std::memory_order_relaxed)) continue;
        record->index = living->records.size();
        living->records.push_back(record);
    }
    living->living = living->records.size();
    std::swap(entry.list, living);
    static_cast<void>(retire(std::move(living)));
}

/// Not before they are more than half of it, so that coming and going does not walk the list each time.
void CallbackTable::_removeNulls(CallbackList& list) noexcept {
    if (2 * list.living >= list.records.size()) return;
    std::erase(list.records, nullptr);
    for (std::size_t i = 0; i < list.records.size(); ++i)
        list.records[i]->index = i;
}

CallbackDelivery::CallbackDelivery(CallbackTable& table, std::uint64_t opening, int id, ThreadEvents& self) noexcept
    : _self(self) {
    const std::lock_guard lock(table._mutex);
    if (table._opening.load(std::memory_order_relaxed) != opening) return;
    if (table._onlyThread != Kr::ThreadId::kNone && table._onlyThread != Kr::getCurrentThreadId()) return;
    _list = table._find(id);
    if (_list == nullptr) return;
    ++_list->deliveries;
    ++table._inside;
    _outer = std::exchange(_self.callbacks, this);
    if (table._spareCount > 0) _data = std::move(table._spares[--table._spareCount]);
}

CallbackDelivery::~CallbackDelivery() {
    if (_list == nullptr) return;
    _self.callbacks = _outer;
    const bool isKept = _data && _data->data().size() <= kMostKept;
    std::unique_ptr<CallbackList> ended;
    DroppedRecords dropped;  // both die after the lock
    CallbackTable& table = _list->table;
    const std::lock_guard lock(table._mutex);
    table._leave(*_list);
    if (isKept && table._spareCount < table._spares.size()) table._spares[table._spareCount++] = std::move(_data);
    if (--_list->deliveries > 0) return;
    if (!_list->isCurrent) {
        ended.reset(_list);
    } else if (_list->hasDropped) {
        dropped.takeFrom(*_list);
    }
}

void CallbackDelivery::setPayload(const std::uint8_t* bytes, std::size_t count) {
    if (!_data) _data = std::make_unique<EventData>();
    _data->_setBytes(bytes, count);
}

}  // namespace KrSim::detail
