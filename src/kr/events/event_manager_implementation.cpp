#include "kr/events/event_manager_implementation.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <iterator>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_internal.h"
#include "kr/events/framework_event_names.h"
#include "kr/events/sim_event.h"
#include "kr/platform/guard.h"
#include "kr/platform/weak_ptr.h"

namespace KrSim {
namespace {

constexpr Kr::GuardTexts kCallbackTexts{Kr::eLogLevel::kWarn,
                                        "EventManager: Exception thrown when processing event '%s': %s.\n",
                                        "EventManager: Unhandled exception thrown when processing event '%s'.\n"};

/// Number of records of one id that died and are still in its list.
struct DeadCounter : Kr::KrRefCount {
    std::atomic<std::size_t> count{0};
};

/// The payload of a delivery. Its memory serves the next one; nested and parallel deliveries get memory of their own.
/// Knows no manager, so that a callback may destroy that.
class DeliveryData {
public:
    explicit DeliveryData(const KrSimEvent& event) : _data(spare().exchange(nullptr, std::memory_order_acquire)) {
        if (!_data) _data = std::make_unique<EventData>();
        _data->_setBytes(event.constData(), event.bytes());
    }
    DeliveryData(const DeliveryData&) = delete;
    DeliveryData& operator=(const DeliveryData&) = delete;
    ~DeliveryData() {
        if (_data->data().size() > kMostKept) return;
        const std::unique_ptr<EventData> other(spare().exchange(_data.release(), std::memory_order_acq_rel));
    }

    /// To be read from the start.
    [[nodiscard]] const EventData& rewound() const noexcept {
        _data->_rewind();
        return *_data;
    }

private:
    static constexpr std::size_t kMostKept = 64 * 1024;

    static std::atomic<EventData*>& spare() noexcept {
        static constinit std::atomic<EventData*> data{nullptr};
        return data;
    }

    std::unique_ptr<EventData> _data;
};

KrSimEvent makeEvent(const EventId& id, const EventData& data) {
    return data.data().empty() ? KrSimEvent(id._getNumber()) : KrSimEvent(id._getNumber(), data.data());
}

}  // namespace

class EventManagerImplementation::EventCallback : public Kr::KrRefCount {
public:
    EventCallback(const EventId& id, std::function<void(const EventData&)> callback, Kr::KrSmartPtr<DeadCounter> dead)
        : _id(id), _callback(std::move(callback)), _dead(std::move(dead)) {}
    ~EventCallback() override { _dead->count.fetch_add(1, std::memory_order_release); }

    void call(const EventData& data) const { _callback(data); }
    [[nodiscard]] const EventId& getId() const noexcept { return _id; }

private:
    EventId _id;
    std::function<void(const EventData&)> _callback;
    Kr::KrSmartPtr<DeadCounter> _dead;
};

/// The records of one id, in the order of registration. A delivery holds the whole list instead of copying it; while
/// one does, changes make a new list.
struct EventManagerImplementation::Records : Kr::KrRefCount {
    std::vector<Kr::KrWeakPtr<EventCallback>> records;
};

struct EventManagerImplementation::Table {
    struct Entry {
        Kr::KrSmartPtr<Records> list = Kr::makeSmart<Records>();
        Kr::KrSmartPtr<DeadCounter> dead = Kr::makeSmart<DeadCounter>();
        bool isSubscribed{false};

        /// A list that only the table holds, with the live records of the old one. Under the lock.
        void purge() {
            // Read first: what dies from here on is counted for the next time, or once too often, which does no harm.
            dead->count.exchange(0, std::memory_order_acquire);
            auto living = Kr::makeSmart<Records>();
            living->records.reserve(list->records.size() + 1);
            std::copy_if(list->records.begin(), list->records.end(), std::back_inserter(living->records),
                         [](const auto& record) { return !record.isExpired(); });
            list = std::move(living);
        }
        [[nodiscard]] std::size_t countDead() const noexcept { return dead->count.load(std::memory_order_acquire); }
    };

    std::mutex mutex;  // guards the entries and the subscriptions; taken before the lock of the dispatcher
    std::unordered_map<int, Entry> entries;
};

EventManagerImplementation::EventManagerImplementation() : _table(std::make_unique<Table>()) {
    const EventId added = EventManagerInternal::createInternalEventId(kNewNetworkApplicationAddedEventName);
    _applicationAdded = registerListener(added, [](const EventData&) { KrEventDispatcher::_publishEventNames(); });
}

EventManagerImplementation::~EventManagerImplementation() {
    _applicationAdded.unregister();
    const std::lock_guard lock(_table->mutex);
    for (const auto& [number, entry] : _table->entries) {
        if (entry.isSubscribed) KrEventDispatcher::unregisterListener(number, this);
    }
}

EventListener EventManagerImplementation::createListener(const Kr::KrSmartPtr<Kr::KrRefCount>& object) {
    return object && object->getRefCount() > 0 ? EventListener(object) : EventListener();
}

EventListener EventManagerImplementation::registerListener(const EventId& id,
                                                           std::function<void(const EventData&)> callback) {
    const int number = id._getNumber();
    Kr::KrSmartPtr<EventCallback> record;  // let go after the lock, should something throw
    const std::lock_guard lock(_table->mutex);
    Table::Entry& entry = _table->entries[number];
    record = Kr::makeSmart<EventCallback>(id, std::move(callback), entry.dead);
    // Not before half of them are dead, so that coming and going does not walk the list each time.
    const bool isHeld = entry.list->getRefCount() > 1;
    if (isHeld || 2 * entry.countDead() > entry.list->records.size()) entry.purge();
    entry.list->records.emplace_back(record);
    if (!entry.isSubscribed) KrEventDispatcher::registerListener(number, this);
    entry.isSubscribed = true;
    return createListener(record);
}

Kr::KrSmartPtr<EventManagerImplementation::Records> EventManagerImplementation::_snapshot(int number) {
    const std::lock_guard lock(_table->mutex);
    const auto found = _table->entries.find(number);
    if (found == _table->entries.end()) return {};
    Table::Entry& entry = found->second;
    if (entry.countDead() != 0) entry.purge();
    if (!entry.list->records.empty()) return entry.list;
    KrEventDispatcher::unregisterListener(number, this);
    _table->entries.erase(found);
    return {};
}

void EventManagerImplementation::onSimEvent(const KrSimEvent& event) {
    const auto snapshot = _snapshot(event.ID());
    if (!snapshot) return;
    const DeliveryData data(event);
    const auto nameOf = [&event] { return event.nameForID(); };
    for (const auto& weak : snapshot->records) {
        const auto record = weak.lock();
        if (record) Kr::callGuarded(kCallbackTexts, nameOf, [&] { record->call(data.rewound()); });
    }
}

bool EventManagerImplementation::sendEvent(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventLocallyAndRemotely(makeEvent(id, data));
    return true;
}

void EventManagerImplementation::sendEventLocally(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventLocally(makeEvent(id, data));
}

void EventManagerImplementation::sendEventLocallyImmediately(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventLocallyImmediately(makeEvent(id, data));
}

void EventManagerImplementation::sendEventLocallyAndRemotelyImmediately(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventLocallyAndRemotelyImmediately(makeEvent(id, data));
}

void EventManagerImplementation::sendEventRemotely(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventRemotely(makeEvent(id, data));
}

void EventManagerImplementation::sendEventRemotelyImmediately(const EventId& id, const EventData& data) {
    KrEventDispatcher::sendEventRemotelyImmediately(makeEvent(id, data));
}

}  // namespace KrSim
