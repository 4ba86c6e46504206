#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <utility>

#include "kr/events/event_access.h"
#include "kr/events/internal/listener_table.h"
#include "kr/events/internal/local_queues.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"

namespace KrSim::detail {

/// Keeps the first of several exceptions until the work is done.
class FirstException {
public:
    template <class Call>
    void guard(Call&& call) noexcept {
        try {
            call();
        } catch (...) {
            if (!_exception) _exception = std::current_exception();
        }
    }
    void rethrow() const {
        if (_exception) std::rethrow_exception(_exception);
    }

private:
    std::exception_ptr _exception;
};

/// During its lifetime, the calling thread processes events.
class Processing {
public:
    explicit Processing(ThreadEvents& self) noexcept : _self(self) { ++_self.processingDepth; }
    Processing(const Processing&) = delete;
    Processing& operator=(const Processing&) = delete;
    ~Processing() {
        if (--_self.processingDepth == 0) _self.wasTooDeep = false;
    }

private:
    ThreadEvents& _self;
};

/// During its lifetime, the event managers have access to the delivery of the calling thread.
class Delivering {
public:
    Delivering(ThreadEvents& self, const Delivery& delivery) noexcept
        : _self(self), _delivery(delivery), _outer(std::exchange(self.delivery, &_delivery)) {}
    Delivering(const Delivering&) = delete;
    Delivering& operator=(const Delivering&) = delete;
    ~Delivering() { _self.delivery = _outer; }

private:
    ThreadEvents& _self;
    const Delivery _delivery;
    const Delivery* const _outer;
};

/// Calls all listeners, then releases the sender that waits for this event, if there is one.
inline void deliver(const KrSimEvent& event, const ListenerTable::Delivery& listeners, FirstException& exception) {
    for (std::uint32_t i = 0; i < listeners.size(); ++i) {
        if (KrSimEventListener* listener = listeners[i]) exception.guard([&] { listener->onSimEvent(event); });
    }
    if (SimEventAccess::isAwaited(event) && event.isDoneSignalAutomatic()) event.raiseDoneSignal();
}

inline void deliverNow(ThreadEvents& self, const KrSimEvent& event, const Delivery& delivery,
                       FirstException& exception) {
    const Delivering delivering(self, delivery);
    deliver(event, {ListenerTable::instance(), event.ID()}, exception);
}

/// Adjacent events of one number share one look-up in the table, unless the table has changed in between.
inline void deliverBatch(ThreadEvents& self, std::span<const KrSimEvent> batch, const Delivery& delivery,
                         FirstException& exception) {
    const Delivering delivering(self, delivery);
    const auto& table = ListenerTable::instance();
    std::optional<ListenerTable::Delivery> listeners;
    int id = 0;
    for (const auto& event : batch) {
        if (!listeners || event.ID() != id || table.getGeneration() != listeners->getGeneration()) {
            id = event.ID();
            listeners.emplace(table, id);
        }
        deliver(event, *listeners, exception);
    }
}

}  // namespace KrSim::detail
