#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/events/event_data.h"
#include "kr/events/fwd.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/thread_id.h"

namespace KrSim::detail {

class CallbackTable;
struct ThreadEvents;

/// A callback and its number. Held by its registration, and by the lists that name it.
struct CallbackRecord final : Kr::KrRefCount {
    static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

    CallbackRecord(int number, std::function<void(const EventData&)> function)
        : id(number), callback(std::move(function)) {}

    const int id;
    const std::function<void(const EventData&)> callback;
    std::uint64_t opening{0};                    // of the table that it was added in; under the lock
    std::atomic<bool> isDropped{false};          // the last handle is gone; written under the lock of the table
    std::size_t index{kNowhere};                 // in the current list of the number; under the lock
    Kr::KrSmartPtr<CallbackRecord> nextDropped;  // of the one chain that it is ever in
};

/// The records of one number, in the order of registration. While a delivery is inside, nothing moves: a new record
/// makes a new list, a dropped one is only marked. All but the records under the lock of the table.
struct CallbackList {
    CallbackList(CallbackTable& owner, std::uint64_t ofOpening, int number)
        : table(owner), opening(ofOpening), id(number) {}

    CallbackTable& table;
    const std::uint64_t opening;  // of the table
    const int id;
    std::vector<Kr::KrSmartPtr<CallbackRecord>> records;  // null: dropped
    std::size_t living{0};                                // records that are not dropped
    std::size_t deliveries{0};                            // that are inside
    bool isCurrent{true};                                 // otherwise the last delivery to leave destroys it
    bool hasDropped{false};                               // dropped records are still in their places
};

/// Who is called for what, the one subscriber of all numbers being the manager. Deliveries count themselves in and out
/// of the list of their number under a short lock and walk it without. A record whose last handle is dropped is
/// destroyed by the thread that drops it, or by the last delivery that knows it. No callback is called or destroyed
/// under the lock.
///
/// Never destroyed: it is closed by one manager and used again by the next one. What is left of an earlier opening,
/// handles and deliveries, does nothing any more.
class CallbackTable final {
public:
    explicit CallbackTable(KrSimEventListener& subscriber) noexcept : _subscriber(subscriber) {}
    CallbackTable(const CallbackTable&) = delete;
    CallbackTable& operator=(const CallbackTable&) = delete;

    void add(const Kr::KrSmartPtr<CallbackRecord>& record);
    /// From here on it is not called. Also good for a record that was never added.
    void drop(Kr::KrSmartPtr<CallbackRecord> record) noexcept;
    /// Another manager begins: deliveries that began before do not reach its callbacks.
    void open() noexcept;
    /// Grows with every beginning and end of a manager. Read it before anything else of the manager: a delivery with an
    /// older number is empty.
    [[nodiscard]] std::uint64_t getOpening() const noexcept { return _opening.load(std::memory_order_acquire); }
    /// From here on only this thread has callbacks called. Returns when no other thread is inside one.
    void restrictToThisThread() noexcept;
    /// The manager dies: no callback is called any more, also not by a delivery under way. Returns when no other thread
    /// is inside a callback.
    void close() noexcept;

private:
    friend class CallbackDelivery;

    struct Entry {
        std::unique_ptr<CallbackList> list;
        bool isSubscribed{false};
    };

    /// The list with living records, or null; then the subscription has ended.
    [[nodiscard]] CallbackList* _find(int id) noexcept;
    /// Leaves the old list to the deliveries that are inside.
    void _replaceByLiving(Entry& entry);
    static void _removeNulls(CallbackList& list) noexcept;
    void _leave(const CallbackList& list) noexcept;
    [[nodiscard]] std::size_t _countHere() const noexcept;

    KrSimEventListener& _subscriber;
    std::atomic<std::uint64_t> _opening{1};  // written under the lock

    std::mutex _mutex;  // guards the members below; taken before the lock of the dispatcher
    std::condition_variable _left;
    std::size_t _inside{0};   // deliveries
    std::size_t _leaving{0};  // while closing: deliveries that were inside
    bool _isAwaited{false};   // a thread waits for deliveries to leave
    Kr::ThreadId _onlyThread{Kr::ThreadId::kNone};
    std::unordered_map<int, Entry> _entries;
    std::array<std::unique_ptr<EventData>, 8> _spares;  // the memory of payloads, for the next deliveries, also nested
    std::size_t _spareCount{0};
};

/// One delivery: inside the list of its number from beginning to end. The table is not needed in between.
class CallbackDelivery {
public:
    /// By the calling thread, whose events are given. Empty when the table had another opening meanwhile.
    CallbackDelivery(CallbackTable& table, std::uint64_t opening, int id, ThreadEvents& self) noexcept;
    CallbackDelivery(const CallbackDelivery&) = delete;
    CallbackDelivery& operator=(const CallbackDelivery&) = delete;
    ~CallbackDelivery();

    [[nodiscard]] bool isEmpty() const noexcept { return _list == nullptr; }
    void setPayload(const std::uint8_t* bytes, std::size_t count);
    /// Each callback that was there at the beginning and is not dropped when its turn comes, with the payload to be
    /// read from the start. Only when not empty.
    template <class Call>
    void forEach(const Call& call) const {
        for (const auto& record : _list->records) {
            if (!record || record->isDropped.load(std::memory_order_relaxed)) continue;
            if (_list->table._opening.load(std::memory_order_relaxed) != _list->opening) return;
            _data->_rewind();
            call(record->callback, std::as_const(*_data));
        }
    }

private:
    friend class CallbackTable;

    ThreadEvents& _self;
    CallbackList* _list{nullptr};
    std::unique_ptr<EventData> _data;
    const CallbackDelivery* _outer{nullptr};  // on this thread
};

}  // namespace KrSim::detail
