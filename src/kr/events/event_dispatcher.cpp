#include "kr/events/event_dispatcher.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "kr/events/event_access.h"
#include "kr/events/event_id_list.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/internal/event_delivery.h"
#include "kr/events/internal/event_domain.h"
#include "kr/events/internal/listener_table.h"
#include "kr/events/internal/local_queues.h"
#include "kr/events/internal/remote_events.h"
#include "kr/events/sim_event.h"
#include "kr/platform/log.h"
#include "kr/platform/profiling.h"
#include "kr/platform/thread_id.h"

namespace KrSim {
namespace {

using detail::FirstException;
using detail::ListenerTable;
using detail::LocalQueue;
using detail::LocalQueues;
using detail::Processing;
using detail::ThreadEvents;
using detail::threadEvents;

/// Sends nested deeper than this leave the queue to the next frame: a listener that sends what it receives would
/// otherwise exhaust the stack.
constexpr int kDeepestProcessing = 64;

/// Never destroyed.
struct State {
    detail::RemoteEvents remote;
    LocalQueues& queues{LocalQueues::instance()};
    std::atomic<bool> isExternalControlEnabled{false};
    std::atomic<double> patienceSeconds{10.0};
};

State& state() {
    static auto& all = *new State;
    return all;
}

// --- Processing ----------------------------------------------------------------------------------------------------

enum class eCaller { kSend, kFrame };

bool hasWork(const State& all, const LocalQueue& queue) noexcept {
    return queue.hasLocal.load(std::memory_order_relaxed) || (all.remote.hasChannel() && all.queues.isReceiver(queue));
}

void processQueue(State& all, ThreadEvents& self, LocalQueue& queue, eCaller caller, FirstException& exception) {
    if (!hasWork(all, queue) && queue.isOwnedHere()) return;  // most frames: without the lock
    const Processing processing(self);
    detail::EventBatches batches;
    if (!all.queues.take(queue, self, caller == eCaller::kFrame, batches)) return;
    const std::size_t own = batches.local.size();
    if (all.queues.isReceiver(queue)) all.remote.receive(batches.local);
    for (const auto& event : batches.forwarded)
        exception.guard([&] { queue.domain->deliverForwarded(event, batches.application, self); });
    const std::span<const KrSimEvent> events(batches.local);
    deliverBatch(self, events.first(own), {&queue, batches.application, false, false}, exception);
    deliverBatch(self, events.subspan(own), {&queue, batches.application, true, false}, exception);
    all.queues.giveBack(queue, batches);
}

detail::Delivery deliveryTo(const LocalQueue& queue, bool isImmediate = false) noexcept {
    return {&queue, queue.number.load(std::memory_order_relaxed), false, isImmediate};
}

bool sendsProcess(const State& all, ThreadEvents& self) noexcept {
    if (self.processingDepth >= kDeepestProcessing) self.wasTooDeep = true;
    return !self.wasTooDeep && !all.isExternalControlEnabled.load(std::memory_order_relaxed);
}

/// Calls the function with each queue that has events, belongs to this thread and is that of an application which does
/// not run. They are served with the common queue.
template <class Call>
void forEachIdle(const State& all, const LocalQueue& served, const Call& call) {
    if (served.domain != nullptr || !all.queues.mayHaveIdleEvents.load(std::memory_order_relaxed)) return;
    for (auto* each : all.queues.findIdleWithEvents())
        call(*each);
}

// --- Sending -------------------------------------------------------------------------------------------------------

enum class eSender {
    kThread,   ///< sends through no application; its queue is the one of LocalQueues::route
    kManager,  ///< the event manager of the application that has the queue
    kMessage,  ///< the log, for the application that has the queue
};

/// What a send is, beside its event.
struct Sending {
    eEventRoute local;
    eEventRoute remote;
    LocalQueue& queue;
    eSender sender;

    /// Whether the sending thread becomes the owner of a queue without one. A thread that only logs does not; nor does
    /// one whose queue has lost its application since it was chosen.
    [[nodiscard]] bool mayOwn() const noexcept {
        return sender == eSender::kManager || (sender == eSender::kThread && queue.domain == nullptr);
    }
};

void processAfterSend(State& all, ThreadEvents& self, const Sending& sending, FirstException& exception) {
    if (!sendsProcess(all, self)) return;
    auto& queue = sending.queue;
    const auto owner = queue.owner.load(std::memory_order_relaxed);
    const bool isFirst = owner == Kr::ThreadId::kNone && sending.mayOwn();
    if (isFirst || (hasWork(all, queue) && owner == Kr::getCurrentThreadId()))
        processQueue(all, self, queue, eCaller::kSend, exception);
    forEachIdle(all, queue, [&](LocalQueue& idle) { processQueue(all, self, idle, eCaller::kSend, exception); });
}

/// Under the lock of the queues.
LocalQueue& settledQueue(State& all, const ThreadEvents& self, const Sending& sending) {
    auto& queue = sending.sender == eSender::kThread ? all.queues.rerouteLocked(sending.queue, self) : sending.queue;
    if (!queue.isRunning.load(std::memory_order_relaxed) && queue.domain != nullptr)
        all.queues.mayHaveIdleEvents.store(true, std::memory_order_relaxed);
    return queue;
}

void queueLocally(State& all, ThreadEvents& self, const KrSimEvent& event, const Sending& sending,
                  FirstException& exception) {
    auto& queue = sending.queue;
    if (!hasWork(all, queue) && queue.isOwnedHere() && sendsProcess(all, self)) {
        // Nothing waits before it, and the send would take it out again.
        const Processing processing(self);
        deliverNow(self, event, deliveryTo(queue), exception);
        return;
    }
    unsigned idle = 0;
    {
        const std::lock_guard lock(all.queues.mutex);
        idle = settledQueue(all, self, sending).pushLocal(event);
    }
    detail::warnOfIdleEvents(idle);
}

void sendWithoutDelay(State& all, ThreadEvents& self, const KrSimEvent& event, const Sending& sending,
                      FirstException& exception) {
    if (sending.remote == eEventRoute::kQueued) all.remote.queue(event);
    if (sending.local == eEventRoute::kQueued) queueLocally(all, self, event, sending, exception);
    if (sending.local == eEventRoute::kAtOnce)
        deliverNow(self, event, deliveryTo(sending.queue, sending.sender == eSender::kThread), exception);
    if (sending.remote == eEventRoute::kAtOnce) all.remote.sendNow(event);
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
    send(all, self, event, {local, remote, all.queues.route(self), eSender::kThread});
}

void preUpdate(State& all, ThreadEvents& self, LocalQueue& queue, FirstException& exception) {
    for (const auto& each : all.queues.takeDue(queue)) {
        const auto routeIf = [](bool isSent) { return isSent ? eEventRoute::kAtOnce : eEventRoute::kNone; };
        // As if the application sent it: its sender is no part of it any more.
        exception.guard([&] {
            send(all, self, each.event, {routeIf(each.isLocal), routeIf(each.isRemote), queue, eSender::kManager});
        });
    }
    processQueue(all, self, queue, eCaller::kFrame, exception);
    if (queue.isRunning.load(std::memory_order_relaxed) && queue.isOwnedHere()) queue.domain->acceptStops(true);
}

/// Of the application whose frame is under way here; else the common one.
LocalQueue& queueOfFrame(State& all, const ThreadEvents& self) {
    return self.current != nullptr ? *self.current : all.queues.common;
}

/// What a blocking sender waits for.
struct Awaited {
    KrSimEvent event;
    unsigned application;  // 0: the common queue
};

/// Puts the event where the owner will find it, unless that is this thread or none. In one step under the lock: the
/// end of an owner finds every event that a sender waits for.
std::optional<Awaited> queueForOwner(State& all, ThreadEvents& self, const KrSimEvent& event) {
    LocalQueue& routed = all.queues.route(self);
    const auto mayWait = [](const LocalQueue& queue) {
        return queue.owner.load(std::memory_order_relaxed) != Kr::ThreadId::kNone && !queue.isOwnedHere();
    };
    if (!mayWait(routed)) return std::nullopt;
    KrSimEvent awaited = event;
    awaited.expectDoneSignal();
    const double now = awaited.getDelay() == 0.0 ? 0.0 : all.queues.now();
    const std::lock_guard lock(all.queues.mutex);
    LocalQueue& queue = all.queues.rerouteLocked(routed, self);
    if (!mayWait(queue)) return std::nullopt;
    if (awaited.getDelay() == 0.0) {
        static_cast<void>(queue.pushLocal(awaited));  // the warning is for applications that do not run
    } else {
        queue.pushDelayed(now, awaited, true, false);
    }
    return Awaited{std::move(awaited), queue.number.load()};
}

void warnOfWaitingSender(const KrSimEvent& event, unsigned application, double seconds) {
    const std::string owner =
        application != 0 ? "application " + std::to_string(application) + " of this process" : "the common queue";
    Kr::logMessage(Kr::eLogLevel::kWarn,
                   "KrEventDispatcher: A blocking send of event %d '%s' has waited for %g s: the thread of %s has not "
                   "delivered it. That thread must update, send or end\n",
                   event.ID(), event.nameForID().c_str(), seconds, owner.c_str());
}

/// Whether the event was delivered.
bool await(const State& all, Awaited& awaited) {
    auto& event = awaited.event;
    const double seconds = all.patienceSeconds.load(std::memory_order_relaxed) + std::max(event.getDelay(), 0.0);
    if (event.waitForDoneSignal(seconds)) return true;
    if (detail::SimEventAccess::isDonePending(event)) warnOfWaitingSender(event, awaited.application, seconds);
    return event.waitForDoneSignal();
}

LocalQueue* queueOf(const EventManagerImplementation* manager) {
    return manager != nullptr ? detail::EventManagerAccess::getQueue(*manager) : threadEvents.current;
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
    State& all = state();
    if (auto awaited = queueForOwner(all, threadEvents, event)) return await(all, *awaited);
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

void detail::DispatcherAccess::sendEvent(const KrSimEvent& event, eEventRoute local, eEventRoute remote,
                                         detail::LocalQueue* queue) {
    if (queue == nullptr) {
        send(event, local, remote);
    } else {
        send(state(), threadEvents, event, {local, remote, *queue, eSender::kManager});
    }
}

void detail::DispatcherAccess::sendMessage(const KrSimEvent& event, detail::LocalQueue* queue) {
    State& all = state();
    ThreadEvents& self = threadEvents;
    LocalQueue& routed = all.queues.route(self);
    const bool isRouted =
        queue == nullptr || self.current != nullptr || (!queue->isRunning.load() && routed.domain != nullptr);
    send(all, self, event,
         {eEventRoute::kQueued, eEventRoute::kNone, isRouted ? routed : *queue,
          isRouted ? eSender::kThread : eSender::kMessage});
}

void detail::DispatcherAccess::sendValue(const KrSimEvent& event, detail::LocalQueue* queue, bool isAtHome) {
    State& all = state();
    ThreadEvents& self = threadEvents;
    const bool isRun = queue != nullptr ? queue->isRunning.load() : self.current != nullptr;
    if (!isAtHome || isRun || !sendsProcess(all, self)) {
        sendEvent(event, eEventRoute::kQueued, eEventRoute::kNone, queue);
        return;
    }
    // Fields that no application runs belong to the thread that connected them. Not even for a moment may the value
    // wait where another thread finds it.
    LocalQueue& before = queue != nullptr ? *queue : all.queues.common;
    FirstException exception;
    const Processing processing(self);
    if (before.isOwnedHere() && hasWork(all, before)) processQueue(all, self, before, eCaller::kSend, exception);
    deliverNow(self, event, deliveryTo(before), exception);
    exception.rethrow();
}

bool detail::DispatcherAccess::runsElsewhere(const detail::LocalQueue* queue) noexcept {
    return queue != nullptr && queue->isRunning.load(std::memory_order_relaxed) && !queue->isOwnedHere();
}

bool detail::DispatcherAccess::isInFrame() noexcept {
    return threadEvents.current != nullptr;
}

void KrEventDispatcher::preUpdate() {
    const Kr::ProfilingSection section("Events", "PreUpdate");
    State& all = state();
    ThreadEvents& self = threadEvents;
    FirstException exception;
    LocalQueue& queue = queueOfFrame(all, self);
    ::KrSim::preUpdate(all, self, queue, exception);
    forEachIdle(all, queue, [&](LocalQueue& idle) { ::KrSim::preUpdate(all, self, idle, exception); });
    exception.rethrow();
}

void KrEventDispatcher::postUpdate() {
    const Kr::ProfilingSection section("Events", "PostUpdate");
    auto& remote = state().remote;
    remote.publishNames();
    remote.sendQueued();
}

void KrEventDispatcher::enableExternalControl(bool enabled) noexcept {
    state().isExternalControlEnabled.store(enabled, std::memory_order_relaxed);
}

bool KrEventDispatcher::isExternalControlEnabled() noexcept {
    return state().isExternalControlEnabled.load(std::memory_order_relaxed);
}

void KrEventDispatcher::setSharedEventChannel(std::shared_ptr<SharedEventChannel> channel) {
    state().remote.setChannel(std::move(channel));
}

std::shared_ptr<SharedEventChannel> KrEventDispatcher::getSharedEventChannel() {
    return state().remote.getChannel();
}

void detail::DispatcherAccess::publishEventNames() {
    detail::EventNamesAccess::publishAllAgain();
    state().remote.publishNames();
}

KrEventDispatcher::PendingEvents detail::DispatcherAccess::getPendingEvents(const EventManagerImplementation* manager) {
    auto& queues = state().queues;
    return {queues.copyPending(queueOf(manager)), queues.now()};
}

std::vector<PendingEvent> detail::DispatcherAccess::replaceDelayedEvents(KrEventDispatcher::PendingEvents&& pending,
                                                                         const EventManagerImplementation* manager) {
    auto& queues = state().queues;
    return queues.replaceDelayed(queueOf(manager), std::move(pending.events), queues.now() - pending.nowSeconds);
}

std::optional<PendingEvent> detail::DispatcherAccess::takeDelayedSince(
    const EventManagerImplementation* manager) noexcept {
    return state().queues.takeDelayedSince(queueOf(manager));
}

void detail::DispatcherAccess::deliverQueuedEvents(const EventManagerImplementation* manager) {
    State& all = state();
    ThreadEvents& self = threadEvents;
    FirstException exception;
    auto* const own = queueOf(manager);
    for (std::size_t i = 0; auto* queue = all.queues.findKnown(own, i); ++i)
        processQueue(all, self, *queue, eCaller::kFrame, exception);
    exception.rethrow();
}

void detail::DispatcherAccess::resetOwner() {
    state().queues.resetCommonOwner();
}

void detail::DispatcherAccess::setPatience(double seconds) {
    state().patienceSeconds.store(seconds, std::memory_order_relaxed);
}

void detail::DispatcherAccess::setClock(const Kr::IClock* clock) {
    state().queues.setClock(clock != nullptr ? *clock : Kr::SteadyClock::instance());
}

}  // namespace KrSim
