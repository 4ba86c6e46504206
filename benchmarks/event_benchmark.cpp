// Events of 64 bytes for one and ten listeners, at once and queued in batches, beside bare loops and the usual
// libraries.

#include <benchmark/benchmark.h>

#include <array>
#include <boost/signals2/signal.hpp>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "benchmarks/bare_event.h"
#include "benchmarks/hide.h"
#include "benchmarks/second_thread.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_listener.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/event_manager_internal.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"

#ifdef KR_HAVE_QT
#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>
#endif

namespace {

using kr_benchmark::hide;
using KrSim::KrEventDispatcher;
using KrSim::KrSimEvent;

constexpr int kId = 0x51A7E5;
constexpr int kBatch = 1000;
using Payload = std::array<std::uint8_t, 64>;

/// Bytes that change from event to event.
class Payloads {
public:
    const Payload& next() {
        ++_payload[0];
        return *hide(&_payload);
    }

private:
    Payload _payload{};
};

void expectCalls(benchmark::State& state, std::int64_t calls, std::int64_t eventsPerIteration) {
    if (calls != state.iterations() * eventsPerIteration * state.range(0)) state.SkipWithError("events were lost");
}

// --- The limits: a bare event, copied, and a virtual call for each listener ------------------------------------------

struct BareListeners {
    explicit BareListeners(std::int64_t count) {
        for (; count > 0; --count) {
            owned.push_back(std::make_unique<BareListener>(kId));
            borrowed.push_back(hide(owned.back().get()));
        }
    }
    [[nodiscard]] std::int64_t calls() const {
        std::int64_t sum = 0;
        for (const auto& each : owned)
            sum += each->calls();
        return sum;
    }
    std::vector<std::unique_ptr<BareListener>> owned;
    std::vector<BareListener*> borrowed;
};

void BM_BareImmediate(benchmark::State& state) {
    const BareListeners listeners(state.range(0));
    Payloads payloads;
    for (auto _ : state) {
        const BareEvent event{kId, 0.0, payloads.next()};
        for (auto* listener : listeners.borrowed)
            listener->onEvent(event);
    }
    expectCalls(state, listeners.calls(), 1);
}
BENCHMARK(BM_BareImmediate)->Arg(1)->Arg(10);

void BM_BareQueued(benchmark::State& state) {
    const BareListeners listeners(state.range(0));
    Payloads payloads;
    std::vector<BareEvent> queue;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            queue.push_back({kId, 0.0, payloads.next()});
        for (const auto& event : queue) {
            for (auto* listener : listeners.borrowed)
                listener->onEvent(event);
        }
        queue.clear();
    }
    expectCalls(state, listeners.calls(), kBatch);
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_BareQueued)->Arg(1)->Arg(10);

// --- The dispatcher --------------------------------------------------------------------------------------------------

class CountingListener final : public KrSim::KrSimEventListener {
public:
    explicit CountingListener(int id) { KrEventDispatcher::registerListener(id, this); }
    void onSimEvent(const KrSimEvent& event) override { calls += event.ID() == kId && event.constData()[1] == 0; }
    std::int64_t calls{0};
};

/// With 200 other numbers that somebody listens to.
struct Listeners {
    explicit Listeners(std::int64_t count) {
        for (int i = 0; i < 200; ++i)
            others.push_back(std::make_unique<CountingListener>(i * 77'777 + 1));
        for (; count > 0; --count)
            counting.push_back(std::make_unique<CountingListener>(kId));
    }
    [[nodiscard]] std::int64_t calls() const {
        std::int64_t sum = 0;
        for (const auto& each : counting)
            sum += each->calls;
        return sum;
    }
    std::vector<std::unique_ptr<CountingListener>> others;
    std::vector<std::unique_ptr<CountingListener>> counting;
};

KrSimEvent makeEvent(Payloads& payloads) {
    const Payload& payload = payloads.next();
    return {kId, static_cast<unsigned>(payload.size()), payload.data()};
}

void BM_Immediate(benchmark::State& state) {
    const Listeners listeners(state.range(0));
    Payloads payloads;
    KrEventDispatcher::preUpdate();
    KrEventDispatcher::sendEventLocallyImmediately(
        makeEvent(payloads));  // clears away what is left of earlier listeners
    const std::int64_t callsBefore = listeners.calls();
    const auto before = kr_benchmark::allocations();
    for (auto _ : state) {
        KrEventDispatcher::sendEventLocallyImmediately(makeEvent(payloads));
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    expectCalls(state, listeners.calls() - callsBefore, 1);
}
BENCHMARK(BM_Immediate)->Arg(0)->Arg(1)->Arg(10);

/// The owner's own queued sends, which are delivered before they return.
void BM_OwnersQueuedSend(benchmark::State& state) {
    const Listeners listeners(state.range(0));
    Payloads payloads;
    KrEventDispatcher::preUpdate();
    for (auto _ : state) {
        KrEventDispatcher::sendEventLocally(makeEvent(payloads));
    }
    expectCalls(state, listeners.calls(), 1);
}
BENCHMARK(BM_OwnersQueuedSend)->Arg(1)->Arg(10);

void BM_Queued(benchmark::State& state) {
    const Listeners listeners(state.range(0));
    Payloads payloads;
    KrEventDispatcher::enableExternalControl(true);
    const auto sendBatch = [&payloads] {
        for (int i = 0; i < kBatch; ++i)
            KrEventDispatcher::sendEventLocally(makeEvent(payloads));
        KrEventDispatcher::preUpdate();
    };
    // The two vectors that take turns get their capacity.
    sendBatch();
    sendBatch();
    const std::int64_t callsBefore = listeners.calls();
    const auto before = kr_benchmark::allocations();
    for (auto _ : state) {
        sendBatch();
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    KrEventDispatcher::enableExternalControl(false);
    expectCalls(state, listeners.calls() - callsBefore, kBatch);
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_Queued)->Arg(1)->Arg(10);

/// Registering this many listeners for one number, and unregistering them one by one in the same order.
void BM_RegisterAndUnregister(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<std::unique_ptr<CountingListener>> listeners;
        for (std::int64_t i = 0; i < state.range(0); ++i)
            listeners.push_back(std::make_unique<CountingListener>(kId));
        for (const auto& each : listeners)
            KrEventDispatcher::unregisterListener(kId, each.get());
        KrEventDispatcher::sendEventLocallyImmediately(KrSimEvent(kId));
    }
}
BENCHMARK(BM_RegisterAndUnregister)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

/// Registering this many listeners for one number, which die in the same order without unregistering.
void BM_RegisterAndDie(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<std::unique_ptr<CountingListener>> listeners;
        for (std::int64_t i = 0; i < state.range(0); ++i)
            listeners.push_back(std::make_unique<CountingListener>(kId));
        for (auto& each : listeners)
            each.reset();
    }
}
BENCHMARK(BM_RegisterAndDie)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

// --- The manager above it --------------------------------------------------------------------------------------------

void BM_ManagerImmediate(benchmark::State& state) {
    KrSim::EventManagerImplementation manager;
    const auto id = KrSim::EventManagerInternal::createInternalEventId(kId);
    std::int64_t calls = 0;
    KrSim::EventListenerList listeners;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        listeners << manager.registerListener(id,
                                              [&calls](const KrSim::EventData& data) { calls += data.data()[1] == 0; });
    const KrSim::EventData data(std::vector<std::uint8_t>(sizeof(Payload)));
    manager.sendEventLocallyImmediately(id, data);
    calls = 0;
    const auto before = kr_benchmark::allocations();
    for (auto _ : state) {
        manager.sendEventLocallyImmediately(id, data);
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    expectCalls(state, calls, 1);
}
BENCHMARK(BM_ManagerImmediate)->Arg(1)->Arg(10);

/// Registering this many callbacks for one id, while every second one goes again.
void BM_ManagerRegister(benchmark::State& state) {
    const auto id = KrSim::EventManagerInternal::createInternalEventId(kId);
    for (auto _ : state) {
        KrSim::EventManagerImplementation manager;
        std::vector<KrSim::EventListener> listeners;
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            listeners.push_back(manager.registerListener(id, [](const KrSim::EventData&) {}));
            if (i % 2 == 1) listeners[static_cast<std::size_t>(i / 2)].unregister();
        }
    }
}
BENCHMARK(BM_ManagerRegister)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

// --- Peers -----------------------------------------------------------------------------------------------------------

void BM_Signals2(benchmark::State& state) {
    boost::signals2::signal<void(const BareEvent&)> signal;
    std::int64_t calls = 0;
    for (int i = 0; i < state.range(0); ++i)
        signal.connect([&calls](const BareEvent& event) { calls += event.id == kId && event.payload[1] == 0; });
    Payloads payloads;
    for (auto _ : state) {
        signal(BareEvent{kId, 0.0, payloads.next()});
    }
    expectCalls(state, calls, 1);
}
BENCHMARK(BM_Signals2)->Arg(1)->Arg(10);

#ifdef KR_HAVE_QT

class QtEvent final : public QEvent {
public:
    explicit QtEvent(const Payload& bytes) : QEvent(QEvent::User), payload(bytes) {}
    Payload payload;
};

class QtReceiver final : public QObject {
public:
    explicit QtReceiver(std::int64_t& counter) : _counter(counter) {}
    bool event(QEvent* event) override {
        if (event->type() != QEvent::User) return QObject::event(event);
        _counter += static_cast<QtEvent*>(event)->payload[1] == 0;
        return true;
    }

private:
    std::int64_t& _counter;
};

struct QtReceivers {
    explicit QtReceivers(std::int64_t count) {
        static int argc = 1;
        static char name[] = "benchmark";
        static char* argv[] = {name, nullptr};
        static QCoreApplication application(argc, argv);
        for (; count > 0; --count)
            receivers.push_back(std::make_unique<QtReceiver>(calls));
    }
    std::int64_t calls{0};
    std::vector<std::unique_ptr<QtReceiver>> receivers;
};

void BM_QtSendEvent(benchmark::State& state) {
    QtReceivers qt(state.range(0));
    Payloads payloads;
    for (auto _ : state) {
        QtEvent event(payloads.next());
        for (const auto& receiver : qt.receivers)
            QCoreApplication::sendEvent(receiver.get(), &event);
    }
    expectCalls(state, qt.calls, 1);
}
BENCHMARK(BM_QtSendEvent)->Arg(1)->Arg(10);

void BM_QtPostEvent(benchmark::State& state) {
    QtReceivers qt(state.range(0));
    Payloads payloads;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            const Payload& payload = payloads.next();
            for (const auto& receiver : qt.receivers)
                QCoreApplication::postEvent(receiver.get(), new QtEvent(payload));
        }
        QCoreApplication::sendPostedEvents();
    }
    expectCalls(state, qt.calls, kBatch);
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_QtPostEvent)->Arg(1)->Arg(10);

#endif

}  // namespace
