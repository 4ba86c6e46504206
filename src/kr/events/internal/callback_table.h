#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/events/fwd.h"
#include "kr/platform/thread_id.h"
#include "kr/signals/delegate_connection.h"
#include "kr/signals/snapshot_list.h"

namespace KrSim::detail {

struct ThreadEvents;

/// The callbacks of one manager, by the numbers of their events; the one subscriber of all numbers is the manager.
///
/// Deliveries find their list, and are counted, under a short lock. No callback is called or destroyed under it.
/// Never destroyed: it is closed by one manager and used again by the next one. Handles and deliveries of an earlier
/// opening have no effect.
class CallbackTable final {
public:
    explicit CallbackTable(KrSimEventListener& subscriber) noexcept : _subscriber(subscriber) {}
    CallbackTable(const CallbackTable&) = delete;
    CallbackTable& operator=(const CallbackTable&) = delete;

    [[nodiscard]] KrData::DelegateConnection add(int id, std::function<void(const EventData&)> callback);
    /// Another manager begins: deliveries that began before do not reach its callbacks.
    void open() noexcept;
    /// Grows with every beginning and end of a manager. Read it before anything else of the manager: a delivery with an
    /// older number is empty.
    [[nodiscard]] std::uint64_t getOpening() const noexcept { return _opening.load(std::memory_order_acquire); }
    /// From now on callbacks are called on this thread only. Returns when no other thread is inside one.
    void restrictToThisThread() noexcept;
    /// The manager dies: no callback is called any more, also not by a delivery in progress. Returns when no other
    /// thread is inside a callback.
    void close() noexcept;

private:
    friend class CallbackDelivery;

    using Callbacks = Kr::CallbackList<const EventData&>;
    struct End {
        void operator()(Callbacks* callbacks) const noexcept { callbacks->close(); }
    };
    using List = std::unique_ptr<Callbacks, End>;

    void _leave(std::uint64_t opening) noexcept;
    [[nodiscard]] std::size_t _countHere() const noexcept;

    KrSimEventListener& _subscriber;
    std::atomic<std::uint64_t> _opening{1};  // written under the lock

    std::mutex _mutex;  // guards the members below; taken before the lock of the dispatcher
    std::condition_variable _left;
    std::size_t _inside{0};   // deliveries
    std::size_t _leaving{0};  // while closing: deliveries that were inside
    bool _isAwaited{false};   // a thread waits for deliveries to leave
    Kr::ThreadId _onlyThread{Kr::ThreadId::kNone};
    std::unordered_map<int, List> _lists;
    std::array<std::unique_ptr<EventData>, 8> _spares;  // the memory of payloads, for the next deliveries, also nested
    std::size_t _spareCount{0};
};

/// One delivery to the callbacks of a number. On the stack.
class CallbackDelivery {
public:
    /// By the calling thread, whose events are given. Empty when the table had another opening meanwhile.
    CallbackDelivery(CallbackTable& table, std::uint64_t opening, int id, ThreadEvents& self) noexcept;
    CallbackDelivery(const CallbackDelivery&) = delete;
    CallbackDelivery& operator=(const CallbackDelivery&) = delete;
    ~CallbackDelivery();

    [[nodiscard]] bool isEmpty() const noexcept { return !_callbacks; }
    void setPayload(const std::uint8_t* bytes, std::size_t count);
    /// Each callback that was registered at the beginning and still is when its turn comes, with the payload to be read
    /// from the start. Only when not empty.
    template <class Call>
    void forEach(const Call& call) const {
        for (std::uint32_t i = 0; i < _callbacks->size(); ++i) {
            const auto* callback = (*_callbacks)[i];
            if (callback == nullptr) continue;
            EventDataAccess::rewind(*_data);
            call(*callback, std::as_const(*_data));
        }
    }

private:
    friend class CallbackTable;

    CallbackTable& _table;
    const std::uint64_t _opening;
    ThreadEvents& _self;
    std::optional<CallbackTable::Callbacks::Reader> _callbacks;
    std::unique_ptr<EventData> _data;
    const CallbackDelivery* _outer{nullptr};  // on this thread
};

}  // namespace KrSim::detail
