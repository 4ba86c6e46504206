#include "kr/events/internal/event_domain.h"

#include <utility>

#include "kr/events/internal/event_numbers.h"
#include "kr/events/sim_event.h"
#include "kr/platform/guard.h"

namespace KrSim::detail {

namespace {

constexpr Kr::GuardTexts kCallbackTexts{
    Kr::eLogLevel::kWarn, "EventManager: Exception thrown when processing event '%s': %s.\n",
    "EventManager: Unhandled exception thrown when processing event '%s'.\n", "event callback"};

struct Pool {
    std::mutex mutex;  // guards the next member
    EventDomain* free{nullptr};

    static Pool& instance() {
        static auto& pool = *new Pool;
        return pool;
    }
};

}  // namespace

EventDomain& EventDomain::acquire() {
    auto& pool = Pool::instance();
    {
        const std::lock_guard lock(pool.mutex);
        if (pool.free != nullptr) return *std::exchange(pool.free, std::exchange(pool.free->_nextFree, nullptr));
    }
    return *new EventDomain;
}

void EventDomain::release() noexcept {
    _callbacks.close();
    if (isOfApplication()) LocalQueues::instance().retire(_queue);
    _acceptsStops.store(false, std::memory_order_relaxed);
    auto& pool = Pool::instance();
    const std::lock_guard lock(pool.mutex);
    _nextFree = std::exchange(pool.free, this);
}

void EventDomain::bind() {
    LocalQueues::instance().bind(_queue);
    _callbacks.open();
}

void EventDomain::onSimEvent(const KrSimEvent& event) {
    ThreadEvents& self = threadEvents;
    const Delivery& delivery = *self.delivery;
    // First: a delivery may know this domain from an earlier manager, and another one may begin while it looks.
    const auto opening = _callbacks.getOpening();
    const auto application = _queue.number.load(std::memory_order_relaxed);
    const bool isOwn = delivery.queue == &_queue;
    if (application == 0 || (isOwn && delivery.application == application && !delivery.isForAll)) [[likely]] {
        _deliver(event, opening, self);
        return;
    }
    const bool isOfEarlier = isOwn && delivery.application != application;
    if (isOfEarlier || !_concerns(event, delivery)) return;
    const bool isOfNone = delivery.queue->domain == nullptr;
    if (_queue.isOwnedHere() || (isOfNone && delivery.isImmediate)) {
        _deliver(event, opening, self);
    } else if (isOfNone || _queue.isRunning.load(std::memory_order_relaxed)) {
        _forward(event);
    }
}

bool EventDomain::_concerns(const KrSimEvent& event, const Delivery& delivery) const noexcept {
    if (isStop(event)) {
        return _acceptsStops.load(std::memory_order_relaxed) && _queue.isRunning.load(std::memory_order_relaxed);
    }
    return delivery.isForAll || delivery.queue->domain == nullptr || event.ID() == kMessageNumber;
}

void EventDomain::_forward(const KrSimEvent& event) {
    auto& all = LocalQueues::instance();
    unsigned idle = 0;
    {
        const std::lock_guard lock(all.mutex);
        if (!isOfApplication()) return;
        idle = _queue.pushForwarded(event);
        all.mayHaveIdleEvents.store(true, std::memory_order_relaxed);
    }
    warnOfIdleEvents(idle);
}

void EventDomain::deliverForwarded(const KrSimEvent& event, unsigned application, ThreadEvents& self) {
    const auto opening = _callbacks.getOpening();
    if (_queue.number.load(std::memory_order_relaxed) == application) _deliver(event, opening, self);
}

void EventDomain::_deliver(const KrSimEvent& event, std::uint64_t opening, ThreadEvents& self) {
    // A callback may destroy the manager: from here on the delivery does not need it.
    CallbackDelivery delivery(_callbacks, opening, event.ID(), self);
    if (delivery.isEmpty()) return;
    delivery.setPayload(event.constData(), event.bytes());
    const auto nameOf = [&event] { return event.nameForID(); };
    delivery.forEach([&nameOf](const auto& callback, const EventData& data) {
        Kr::callGuarded(kCallbackTexts, nameOf, [&] { callback(data); });
    });
}

}  // namespace KrSim::detail
