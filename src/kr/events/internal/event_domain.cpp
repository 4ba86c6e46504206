#include "kr/events/internal/event_domain.h"

#include <utility>

#include "kr/events/internal/event_numbers.h"
#include "kr/events/sim_event.h"
#include "kr/platform/guard.h"

namespace KrSim::detail {

namespace {

constexpr Kr::GuardTexts kCallbackTexts{Kr::eLogLevel::kWarn,
                                        "EventManager: Exception thrown when processing event '%s': %s.\n",
                                        "EventManager: Unhandled exception thrown when processing event '%s'.\n"};

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
    _isOfApplication.store(false, std::memory_order_relaxed);
    _acceptsStops.store(false, std::memory_order_relaxed);
    auto& pool = Pool::instance();
    const std::lock_guard lock(pool.mutex);
    _nextFree = std::exchange(pool.free, this);
}

void EventDomain::bind() {
    if (isOfApplication()) return;
    LocalQueues::instance().bind(_queue);
    _isOfApplication.store(true, std::memory_order_relaxed);
}

void EventDomain::onSimEvent(const KrSimEvent& event) {
    ThreadEvents& self = threadEvents;
    const Delivery& delivery = *self.delivery;
    if (!isOfApplication() || (delivery.queue == &_queue && !delivery.isForAll)) [[likely]] {
        deliver(event, self);
        return;
    }
    if (!_concerns(event, delivery)) return;
    const bool isOfNone = delivery.queue->domain == nullptr;
    if (_queue.isOwnedHere() || (isOfNone && delivery.isImmediate)) {
        deliver(event, self);
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

void EventDomain::deliver(const KrSimEvent& event, ThreadEvents& self) {
    // A callback may destroy the manager: from here on the delivery does not need it.
    CallbackDelivery delivery(_callbacks, event.ID(), self);
    if (delivery.isEmpty()) return;
    delivery.setPayload(event.constData(), event.bytes());
    const auto nameOf = [&event] { return event.nameForID(); };
    delivery.forEach([&nameOf](const auto& callback, const EventData& data) {
        Kr::callGuarded(kCallbackTexts, nameOf, [&] { callback(data); });
    });
}

}  // namespace KrSim::detail
