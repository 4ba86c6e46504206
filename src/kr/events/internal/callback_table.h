#pragma once

#include <array>
#include <atomic>
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

namespace KrSim::detail {

class CallbackTable;

/// A callback and its number. Held by its registration, and by the lists that name it.
struct CallbackRecord final : Kr::KrRefCount {
    static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

    CallbackRecord(int number, std::function<void(const EventData&)> function)
        : id(number), callback(std::move(function)) {}

    const int id;
    const std::function<void(const EventData&)> callback;
    std::atomic<bool> isDropped{false};          // the last handle is gone; written under the lock of the table
    std::size_t index{kNowhere};                 // in the current list of the number; under the lock
    Kr::KrSmartPtr<CallbackRecord> nextDropped;  // of the one chain that it ever stands in
};

/// The records of one number, in the order of registration. While a delivery is inside, nothing moves: a new record
/// makes a new list, a dropped one is only marked. All but the records under the lock of the table.
struct CallbackList {
    CallbackList(Kr::KrSmartPtr<CallbackTable> owner, int number) : table(std::move(owner)), id(number) {}

    const Kr::KrSmartPtr<CallbackTable> table;  // a delivery that outlives the manager still leaves through it
    const int id;
    std::vector<Kr::KrSmartPtr<CallbackRecord>> records;  // null: dropped
    std::size_t living{0};                                // records that are not dropped
    std::size_t deliveries{0};                            // that are inside
    bool isCurrent{true};                                 // otherwise the last delivery to leave destroys it
    bool hasDropped{false};                               // dropped records are still in their places
};

/// Who is called for what, the one subscriber of all numbers being the manager. Deliveries count themselves in and out
/// of the list of their number under a short lock and walk it without. A record whose last handle is dropped is
/// destroyed by whoever drops it, or by the last delivery that knows it. No callback is called or destroyed under the
/// lock.
class CallbackTable final : public Kr::KrRefCount {
public:
    explicit CallbackTable(KrSimEventListener& subscriber) noexcept : _subscriber(subscriber) {}
    CallbackTable(const CallbackTable&) = delete;
    CallbackTable& operator=(const CallbackTable&) = delete;

    void add(const Kr::KrSmartPtr<CallbackRecord>& record);
    /// From here on it is not called. Also good for a record that was never added.
    void drop(Kr::KrSmartPtr<CallbackRecord> record) noexcept;
    /// The subscriber dies: nobody is called any more, also not by a delivery under way.
    void close() noexcept;
    [[nodiscard]] bool isClosed() const noexcept { return _isClosed.load(std::memory_order_relaxed); }

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

    KrSimEventListener& _subscriber;
    std::atomic<bool> _isClosed{false};

    std::mutex _mutex;  // guards the members below; taken before the lock of the dispatcher
    std::unordered_map<int, Entry> _entries;
    std::array<std::unique_ptr<EventData>, 8> _spares;  // the memory of payloads, for the next deliveries, also nested
    std::size_t _spareCount{0};
};

/// One delivery: inside the list of its number from beginning to end. The table is not needed in between.
class CallbackDelivery {
public:
    CallbackDelivery(CallbackTable& table, int id) noexcept;
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
            if (_list->table->isClosed()) return;
            _data->_rewind();
            call(record->callback, std::as_const(*_data));
        }
    }

private:
    CallbackList* _list{nullptr};
    std::unique_ptr<EventData> _data;
};

}  // namespace KrSim::detail
