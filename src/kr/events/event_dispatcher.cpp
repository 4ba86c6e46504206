#include "kr/events/event_dispatcher.h"

#include <atomic>
#include <exception>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "kr/core/id.h"
#include "kr/events/event_id_list.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/framework_event_names.h"
#include "kr/events/internal/done_signal.h"
#include "kr/events/internal/event_domain.h"
#include "kr/events/internal/listener_table.h"
#include "kr/events/internal/local_queues.h"
#include "kr/events/shared_event_channel.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"
#include "kr/platform/guard.h"
#include "kr/platform/thread_id.h"

namespace KrSim {
namespace {

using detail::EventBatch;
using detail::ListenerSnapshot;
using detail::ListenerTable;
using detail::LocalQueue;
using detail::LocalQueues;
using detail::ThreadEvents;
using detail::threadEvents;

constexpr int kPublishNumber = Kr::KrID::numberFor(kPublishLocalEventIdsName);

/// Sends nested deeper than this leave the queue to the next frame: a listener that sends what it receives would
/// otherwise exhaust the stack.
constexpr int kDeepestProcessing = 64;

constexpr Kr::GuardTexts kSendTexts{Kr::eLogLevel::kWarn, "KrEventDispatcher: fatal error in '%s' sendEvents() [%s]\n",
                                    "KrEventDispatcher: unhandled exception in '%s' sendEvents()\n"};
constexpr Kr::GuardTexts kReceiveTexts{Kr::eLogLevel::kWarn,
                                       "KrEventDispatcher: fatal error in '%s' receiveEvents() [%s]\n",
                                       "KrEventDispatcher: unhandled exception in '%s' receiveEvents()\n"};
const char* nameOfChannel() {
    return "SharedEventChannel";
}

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

/// The way to other applications, and what is the same for all queues.
struct State {
    std::mutex remoteMutex;  // guards the next member
    detail::EventBuffer remote;

    std::mutex channelMutex;  // guards the next member
    std::shared_ptr<SharedEventChannel> channel;
    std::atomic<bool> hasChannel{false};

    std::atomic<bool> isExternalControlEnabled{false};

    LocalQueues& queues{LocalQueues::instance()};
};

State& state() {
    static auto& all = *new State;
    return all;
}

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

/// Tells the event managers whose events this thread delivers meanwhile.
class Delivering {
public:
    Delivering(ThreadEvents& self, const ThreadEvents::Delivery& delivery) noexcept
        : _delivery(self.delivery), _outer(std::exchange(self.delivery, delivery)) {}
    Delivering(const Delivering&) = delete;
    Delivering& operator=(const Delivering&) = delete;
    ~Delivering() { _delivery = _outer; }

private:
    ThreadEvents::Delivery& _delivery;
    const ThreadEvents::Delivery _outer;
};

void deliver(const KrSimEvent& event, const ListenerSnapshot& listeners, FirstException& exception) {
    for (std::size_t i = 0; i < listeners.size(); ++i) {
        if (KrSimEventListener* listener = listeners[i]) exception.guard([&] { listener->onSimEvent(event); });
    }
    if (event._isAwaited() && event.isDoneSignalAutomatic()) event.raiseDoneSignal();
}

void deliverNow(ThreadEvents& self, const KrSimEvent& event, const ThreadEvents::Delivery& delivery,
                FirstException& exception) {
    const Delivering delivering(self, delivery);
    std::uint64_t generation = 0;
    deliver(event, ListenerTable::instance().find(event.ID(), generation), exception);
}

/// Neighbours with one number share the look into the table, unless it has changed in between.
void deliverBatch(std::span<const KrSimEvent> batch, FirstException& exception) {
    auto& table = ListenerTable::instance();
    ListenerSnapshot listeners;
    std::uint64_t generation = 0;  // of no table
    int id = 0;
    for (const auto& event : batch) {
        if (event.ID() != id || table.getGeneration() != generation) {
            id = event.ID();
            listeners = table.find(id, generation);
        }
        deliver(event, listeners, exception);
    }
}

std::shared_ptr<SharedEventChannel> channelOf(State& all) {
    if (!all.hasChannel.load(std::memory_order_acquire)) return nullptr;
    const std::lock_guard lock(all.channelMutex);
    return all.channel;
}

void sendToChannel(State& all, const KrSimEvent& event) {
    if (const auto channel = channelOf(all)) {
        Kr::callGuarded(kSendTexts, nameOfChannel, [&] { channel->sendEvent(event); });
    }
}

void receiveFromChannel(State& all, EventBatch& batch) {
    const auto channel = channelOf(all);
    if (!channel) return;
    const std::size_t before = batch.size();
    Kr::callGuarded(kReceiveTexts, nameOfChannel, [&] { channel->receiveEvents(batch); });
    for (std::size_t i = before; i < batch.size(); ++i) {
        const KrSimEvent& event = batch[i];
        if (event.ID() == kPublishNumber) {
            EventIDList::instance()._learn(event.constData(), event.bytes(), event.sender());
        }
    }
}

// --- Processing ----------------------------------------------------------------------------------------------------

enum class eCaller { kSend, kFrame };

void processQueue(State& all, ThreadEvents& self, LocalQueue& queue, eCaller caller, FirstException& exception) {
    const Processing processing(self);
    detail::EventBatches batches;
    if (!all.queues.take(queue, self, caller == eCaller::kFrame, batches)) return;
    const std::size_t own = batches.local.size();
    if (all.queues.isReceiver(queue)) receiveFromChannel(all, batches.local);
    const std::span<const KrSimEvent> events(batches.local);
    {
        const Delivering delivering(self, {&queue, false, false});
        for (const auto& event : batches.forwarded)
            queue.domain->deliver(event);
        deliverBatch(events.first(own), exception);
    }
    if (own < events.size()) {
        const Delivering delivering(self, {&queue, true, false});
        deliverBatch(events.subspan(own), exception);
    }
    all.queues.giveBack(queue, batches);
}

bool sendsProcess(const State& all, ThreadEvents& self) noexcept {
    if (self.processingDepth >= kDeepestProcessing) self.wasTooDeep = true;
    return !self.wasTooDeep && !all.isExternalControlEnabled.load(std::memory_order_relaxed);
}

bool hasWork(const State& all, const LocalQueue& queue) noexcept {
    return queue.hasLocal.load(std::memory_order_relaxed) ||
           (all.hasChannel.load(std::memory_order_relaxed) && all.queues.isReceiver(queue));
}

/// Of applications that do not run and belong to this thread: they are served with the common queue.
std::vector<LocalQueue*> idleQueues(State& all) {
    if (!all.queues.mayHaveIdleEvents.load(std::memory_order_relaxed)) return {};
    return all.queues.findIdleWithEvents();
}

// --- Sending -------------------------------------------------------------------------------------------------------

/// What a send is, beside its event.
struct Sending {
    eEventRoute local;
    eEventRoute remote;
    LocalQueue& queue;
    bool isRouted;  ///< the queue was chosen by the sending thread, not by an application
    bool mayOwn;    ///< of a queue without an owner
};

void processAfterSend(State& all, ThreadEvents& self, const Sending& sending, FirstException& exception) {
    if (!sendsProcess(all, self)) return;
    auto& queue = sending.queue;
    const auto owner = queue.owner.load(std::memory_order_relaxed);
    const bool mayOwn = sending.mayOwn && (!sending.isRouted || queue.domain == nullptr);
    const bool isFirst = owner == Kr::ThreadId::kNone && mayOwn;
    if (isFirst || (hasWork(all, queue) && owner == Kr::getCurrentThreadId()))
        processQueue(all, self, queue, eCaller::kSend, exception);
    if (queue.domain == nullptr) {
        for (auto* idle : idleQueues(all))
            processQueue(all, self, *idle, eCaller::kSend, exception);
    }
}

/// Under the lock of the queues.
LocalQueue& settledQueue(State& all, const ThreadEvents& self, const Sending& sending) {
    auto& queue = sending.isRouted ? all.queues.rerouteLocked(sending.queue, self) : sending.queue;
    if (!queue.isRunning.load(std::memory_order_relaxed) && queue.domain != nullptr)
        all.queues.mayHaveIdleEvents.store(true, std::memory_order_relaxed);
    return queue;
}

void queueLocally(State& all, ThreadEvents& self, const KrSimEvent& event, const Sending& sending,
                  FirstException& exception) {
    auto& queue = sending.queue;
    if (!hasWork(all, queue) && queue.isOwnedHere() && sendsProcess(all, self)) {
        // Nothing stands before it, and it would be taken out again at once.
        const Processing processing(self);
        deliverNow(self, event, {&queue, false, false}, exception);
        return;
    }
    const std::lock_guard lock(all.queues.mutex);
    settledQueue(all, self, sending).pushLocal(event);
}

void queueRemotely(State& all, const KrSimEvent& event) {
    const std::lock_guard lock(all.remoteMutex);
    all.remote.events.push_back(event);
}

void sendWithoutDelay(State& all, ThreadEvents& self, const KrSimEvent& event, const Sending& sending,
                      FirstException& exception) {
    if (sending.remote == eEventRoute::kQueued) queueRemotely(all, event);
    if (sending.local == eEventRoute::kQueued) queueLocally(all, self, event, sending, exception);
    // An event whose delay is over is not that of its sender any more.
    if (sending.local == eEventRoute::kAtOnce)
        deliverNow(self, event, {&sending.queue, false, sending.isRouted}, exception);
    if (sending.remote == eEventRoute::kAtOnce) sendToChannel(all, event);
}

void send(State& all, ThreadEvents& self, const KrSimEvent& event, const Sending& sending) {
    FirstException exception;
    if (event.getDelay() == 0.0) [[likely]] {
        sendWithoutDelay(all, self, event, sending, exception);
    } else {
        const double now = all.queues.now();
        const std::lock_guard lock(all.queues.mutex);
        settledQueue(all, self, sending)
            .pushDelayed(now, event, sending.local != eEventRoute::kNone, sending.remote != eEventRoute::kNone);
    }
    processAfterSend(all, self, sending, exception);
    exception.rethrow();
}

void send(const KrSimEvent& event, eEventRoute local, eEventRoute remote) {
    State& all = state();
    ThreadEvents& self = threadEvents;
    send(all, self, event, {local, remote, all.queues.route(self), true, true});
}

void preUpdate(State& all, ThreadEvents& self, LocalQueue& queue, FirstException& exception) {
    for (const auto& each : all.queues.takeDue(queue)) {
        exception.guard([&] {
            send(all, self, each.event,
                 {each.isLocal ? eEventRoute::kAtOnce : eEventRoute::kNone,
                  each.isRemote ? eEventRoute::kAtOnce : eEventRoute::kNone, queue, false, true});
        });
    }
    processQueue(all, self, queue, eCaller::kFrame, exception);
    if (queue.isRunning.load(std::memory_order_relaxed) && queue.isOwnedHere()) queue.domain->acceptStops(true);
}

/// Of the application whose frame is under way here; else the common one.
LocalQueue& queueOfFrame(State& all, const ThreadEvents& self) {
    return self.current != nullptr ? *self.current : all.queues.common;
}

/// Puts the event where the owner will find it, unless that is this thread or none. In one step under the lock: the
/// end of an owner finds every event that a sender waits for.
std::shared_ptr<detail::DoneSignal> queueForOwner(State& all, ThreadEvents& self, const KrSimEvent& event) {
    LocalQueue& routed = all.queues.route(self);
    const auto mayWait = [](const LocalQueue& queue) {
        return queue.owner.load(std::memory_order_relaxed) != Kr::ThreadId::kNone && !queue.isOwnedHere();
    };
    if (!mayWait(routed)) return nullptr;
    KrSimEvent awaited = event;
    auto signal = awaited._expectDone();
    const double now = awaited.getDelay() == 0.0 ? 0.0 : all.queues.now();
    const std::lock_guard lock(all.queues.mutex);
    LocalQueue& queue = all.queues.rerouteLocked(routed, self);
    if (!mayWait(queue)) return nullptr;
    if (awaited.getDelay() == 0.0) {
        queue.pushLocal(awaited);
    } else {
        queue.pushDelayed(now, awaited, true, false);
    }
    return signal;
}

LocalQueue* queueOf(const EventManagerImplementation* manager) {
    return manager != nullptr ? manager->_getQueue() : threadEvents.current;
}

/// One publishing step. The names go ahead of the events that the frame has queued.
void publishNames(State& all) {
    const auto channel = channelOf(all);
    if (!channel) return;
    const auto names = EventIDList::instance()._takeNamesToPublish();
    if (names.empty()) return;
    const KrSimEvent event(kPublishNumber, names);
    if (!Kr::callGuarded(kSendTexts, nameOfChannel, [&] { channel->sendEvent(event); })) {
        EventIDList::instance()._publishAllAgain();
    }
}

}  // namespace

void KrEventDispatcher::registerListener(int id, KrSimEventListener* listener) {
    if (listener != nullptr) ListenerTable::instance().add(id, *listener);
}

void KrEventDispatcher::unregisterListener(int id, KrSimEventListener* listener) {
    if (listener != nullptr) ListenerTable::instance().remove(id, *listener);
}

void KrEventDispatcher::sendEventLocally(const KrSimEvent& event) {
    send(event, eEventRoute::kQueued, eEventRoute::kNone);
}

void KrEventDispatcher::sendEventLocallyImmediately(const KrSimEvent& event) {
    send(event, eEventRoute::kAtOnce, eEventRoute::kNone);
}

bool KrEventDispatcher::sendEventLocallyImmediatelyBlocking(const KrSimEvent& event) {
    if (const auto signal = queueForOwner(state(), threadEvents, event)) {
        return signal->wait() == detail::DoneSignal::eState::kHandled;
    }
    sendEventLocallyImmediately(event);
    return true;
}

void KrEventDispatcher::sendEventLocallyAndRemotely(const KrSimEvent& event) {
    send(event, eEventRoute::kQueued, eEventRoute::kQueued);
}

void KrEventDispatcher::sendEventLocallyAndRemotelyImmediately(const KrSimEvent& event) {
    send(event, eEventRoute::kAtOnce, eEventRoute::kAtOnce);
}

void KrEventDispatcher::sendEventRemotely(const KrSimEvent& event) {
    send(event, eEventRoute::kNone, eEventRoute::kQueued);
}

void KrEventDispatcher::sendEventRemotelyImmediately(const KrSimEvent& event) {
    send(event, eEventRoute::kNone, eEventRoute::kAtOnce);
}

void KrEventDispatcher::_send(const KrSimEvent& event, eEventRoute local, eEventRoute remote,
                              detail::LocalQueue* queue) {
    if (queue == nullptr) {
        send(event, local, remote);
    } else {
        send(state(), threadEvents, event, {local, remote, *queue, false, true});
    }
}

void KrEventDispatcher::_sendMessage(const KrSimEvent& event, detail::LocalQueue* queue) {
    State& all = state();
    ThreadEvents& self = threadEvents;
    LocalQueue& routed = all.queues.route(self);
    if (queue == nullptr || self.current != nullptr || (!queue->isRunning.load() && routed.domain != nullptr)) {
        send(all, self, event, {eEventRoute::kQueued, eEventRoute::kNone, routed, true, true});
        return;
    }
    const bool mayOwn = all.queues.isCreatedHere(*queue);
    send(all, self, event, {eEventRoute::kQueued, eEventRoute::kNone, *queue, false, mayOwn});
}

void KrEventDispatcher::_sendValue(const KrSimEvent& event, detail::LocalQueue* queue, bool isAtHome) {
    State& all = state();
    ThreadEvents& self = threadEvents;
    const bool isRun = queue != nullptr ? queue->isRunning.load() : self.current != nullptr;
    if (!isAtHome || isRun || !sendsProcess(all, self)) {
        LocalQueue& target = queue != nullptr ? *queue : all.queues.route(self);
        send(all, self, event, {eEventRoute::kQueued, eEventRoute::kNone, target, queue == nullptr, true});
        return;
    }
    // Fields that no application runs belong to the thread that connected them. Not even for a moment may the value
    // wait where another thread finds it.
    LocalQueue& before = queue != nullptr ? *queue : all.queues.common;
    FirstException exception;
    const Processing processing(self);
    if (before.isOwnedHere() && hasWork(all, before)) processQueue(all, self, before, eCaller::kSend, exception);
    deliverNow(self, event, {&before, false, false}, exception);
    exception.rethrow();
}

bool KrEventDispatcher::_runsElsewhere(const detail::LocalQueue* queue) noexcept {
    return queue != nullptr && queue->isRunning.load(std::memory_order_relaxed) && !queue->isOwnedHere();
}

bool KrEventDispatcher::_isInFrame() noexcept {
    return threadEvents.current != nullptr;
}

void KrEventDispatcher::preUpdate() {
    State& all = state();
    ThreadEvents& self = threadEvents;
    FirstException exception;
    LocalQueue& queue = queueOfFrame(all, self);
    ::KrSim::preUpdate(all, self, queue, exception);
    if (queue.domain == nullptr) {
        for (auto* idle : idleQueues(all))
            ::KrSim::preUpdate(all, self, *idle, exception);
    }
    exception.rethrow();
}

void KrEventDispatcher::postUpdate() {
    State& all = state();
    publishNames(all);
    EventBatch batch;
    {
        const std::lock_guard lock(all.remoteMutex);
        batch = all.remote.take();
    }
    if (const auto channel = channelOf(all); channel && !batch.empty()) {
        Kr::callGuarded(kSendTexts, nameOfChannel, [&] { channel->sendEvents(batch); });
    }
    batch.clear();
    const std::lock_guard lock(all.remoteMutex);
    all.remote.giveBack(batch);
}

void KrEventDispatcher::enableExternalControl(bool enabled) noexcept {
    state().isExternalControlEnabled.store(enabled, std::memory_order_relaxed);
}

bool KrEventDispatcher::isExternalControlEnabled() noexcept {
    return state().isExternalControlEnabled.load(std::memory_order_relaxed);
}

void KrEventDispatcher::setSharedEventChannel(std::shared_ptr<SharedEventChannel> channel) {
    State& all = state();
    // Whoever is behind the new channel knows no names yet.
    if (channel) EventIDList::instance()._publishAllAgain();
    const std::lock_guard lock(all.channelMutex);
    all.hasChannel.store(channel != nullptr, std::memory_order_release);
    std::swap(all.channel, channel);  // the old one dies after the lock
}

std::shared_ptr<SharedEventChannel> KrEventDispatcher::getSharedEventChannel() {
    return channelOf(state());
}

void KrEventDispatcher::_publishEventNames() {
    EventIDList::instance()._publishAllAgain();
    publishNames(state());
}

KrEventDispatcher::PendingEvents KrEventDispatcher::_getPendingEvents(const EventManagerImplementation* manager) {
    auto& queues = state().queues;
    return {queues.copyPending(queueOf(manager)), queues.now()};
}

void KrEventDispatcher::_replaceDelayedEvents(const PendingEvents& pending, const EventManagerImplementation* manager) {
    auto& queues = state().queues;
    queues.replaceDelayed(queueOf(manager), pending.events, queues.now() - pending.nowSeconds);
}

void KrEventDispatcher::_deliverQueuedEvents(const EventManagerImplementation* manager) {
    State& all = state();
    ThreadEvents& self = threadEvents;
    FirstException exception;
    for (auto* queue : all.queues.findKnown(queueOf(manager)))
        processQueue(all, self, *queue, eCaller::kFrame, exception);
    exception.rethrow();
}

void KrEventDispatcher::_resetOwner() {
    state().queues.resetCommonOwner();
}

void KrEventDispatcher::_setClock(const Kr::IClock* clock) {
    state().queues.setClock(clock != nullptr ? *clock : Kr::SteadyClock::instance());
}

}  // namespace KrSim
