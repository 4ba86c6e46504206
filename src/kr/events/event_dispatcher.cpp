#include "kr/events/event_dispatcher.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <iterator>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

#include "kr/core/id.h"
#include "kr/events/event_id_list.h"
#include "kr/events/framework_event_names.h"
#include "kr/events/internal/done_signal.h"
#include "kr/events/internal/listener_table.h"
#include "kr/events/shared_event_channel.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"
#include "kr/platform/guard.h"
#include "kr/platform/thread_id.h"

namespace KrSim {
namespace {

using Batch = std::vector<KrSimEvent>;
using detail::ListenerSnapshot;
using detail::ListenerTable;

constexpr int kPublishNumber = Kr::KrID::numberFor(kPublishLocalEventIdsName);
constexpr double kNever = std::numeric_limits<double>::infinity();

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

using DelayedEvent = PendingEvent;

/// A vector to fill, and one with capacity that the next batch swaps in.
struct Queue {
    Batch events;
    Batch spare;

    /// Under the lock of the queue.
    [[nodiscard]] Batch take() noexcept {
        Batch batch = std::exchange(spare, {});
        std::swap(batch, events);
        return batch;
    }
    /// The same; the batch is empty again.
    void giveBack(Batch& batch) noexcept {
        if (batch.capacity() > spare.capacity()) std::swap(batch, spare);
    }
};

struct State {
    std::mutex localMutex;  // guards the next members; the atomics are written under it and read without
    Queue local;
    std::vector<DelayedEvent> delayed;
    double earliestDueSeconds{kNever};
    std::atomic<const Kr::IClock*> clock{&Kr::SteadyClock::instance()};
    std::atomic<Kr::ThreadId> owner{Kr::ThreadId::kNone};
    std::atomic<bool> hasLocal{false};

    std::mutex remoteMutex;  // guards the next member
    Queue remote;

    std::mutex channelMutex;  // guards the next member
    std::shared_ptr<SharedEventChannel> channel;
    std::atomic<bool> hasChannel{false};

    std::atomic<bool> isExternalControlEnabled{false};
};

State& state() {
    static auto& all = *new State;
    return all;
}

/// How many times this thread is processing events, one inside the other.
thread_local int processingDepth = 0;
/// It was too deep; until the outermost one ends, sends only queue.
thread_local bool wasTooDeep = false;

class Processing {
public:
    Processing() noexcept { ++processingDepth; }
    Processing(const Processing&) = delete;
    Processing& operator=(const Processing&) = delete;
    ~Processing() {
        if (--processingDepth == 0) wasTooDeep = false;
    }
};

void deliver(const KrSimEvent& event, const ListenerSnapshot& listeners, FirstException& exception) {
    for (std::size_t i = 0; i < listeners.size(); ++i) {
        if (KrSimEventListener* listener = listeners[i]) exception.guard([&] { listener->onSimEvent(event); });
    }
    if (event._isAwaited() && event.isDoneSignalAutomatic()) event.raiseDoneSignal();
}

void deliverNow(const KrSimEvent& event, FirstException& exception) {
    std::uint64_t generation = 0;
    deliver(event, ListenerTable::instance().find(event.ID(), generation), exception);
}

/// Neighbours with one number share the look into the table, unless it has changed in between.
void deliverBatch(const Batch& batch, FirstException& exception) {
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

void receiveFromChannel(State& all, Batch& batch) {
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

enum class eCaller { kSend, kFrame };

void processLocalQueue(State& all, eCaller caller, FirstException& exception) {
    const Processing processing;
    Batch batch;
    {
        const auto self = Kr::getCurrentThreadId();
        const std::lock_guard lock(all.localMutex);
        if (all.owner.load(std::memory_order_relaxed) == Kr::ThreadId::kNone) all.owner.store(self);
        // Two first senders at once: the second finds that it is not the owner.
        if (caller == eCaller::kSend && all.owner.load(std::memory_order_relaxed) != self) return;
        batch = all.local.take();
        all.hasLocal.store(false, std::memory_order_relaxed);
    }
    receiveFromChannel(all, batch);
    deliverBatch(batch, exception);
    batch.clear();
    const std::lock_guard lock(all.localMutex);
    all.local.giveBack(batch);
}

bool isOwner(const State& all) noexcept {
    return all.owner.load(std::memory_order_relaxed) == Kr::getCurrentThreadId();
}

bool sendsProcess(const State& all) noexcept {
    if (processingDepth >= kDeepestProcessing) wasTooDeep = true;
    return !wasTooDeep && !all.isExternalControlEnabled.load(std::memory_order_relaxed);
}

bool hasWork(const State& all) noexcept {
    return all.hasLocal.load(std::memory_order_relaxed) || all.hasChannel.load(std::memory_order_relaxed);
}

void processAfterSend(State& all, FirstException& exception) {
    if (!sendsProcess(all)) return;
    const bool isFirst = all.owner.load(std::memory_order_relaxed) == Kr::ThreadId::kNone;
    if (isFirst || (hasWork(all) && isOwner(all))) processLocalQueue(all, eCaller::kSend, exception);
}

/// Under the lock of the local queue.
void pushLocal(State& all, const KrSimEvent& event) {
    all.local.events.push_back(event);
    all.hasLocal.store(true, std::memory_order_relaxed);
}

void queueLocally(State& all, const KrSimEvent& event, FirstException& exception) {
    if (!hasWork(all) && isOwner(all) && sendsProcess(all)) {
        // Nothing stands before it, and it would be taken out again at once.
        const Processing processing;
        deliverNow(event, exception);
        return;
    }
    const std::lock_guard lock(all.localMutex);
    pushLocal(all, event);
}

void queueRemotely(State& all, const KrSimEvent& event) {
    const std::lock_guard lock(all.remoteMutex);
    all.remote.events.push_back(event);
}

double nowOf(const State& all) {
    return all.clock.load(std::memory_order_acquire)->getSeconds();
}

/// Under the lock of the local queue.
void pushDelayed(State& all, double now, const KrSimEvent& event, bool isLocal, bool isRemote) {
    const double due = now + event.getDelay();
    all.delayed.push_back({event, due, isLocal, isRemote});
    all.delayed.back().event.setDelay(0.0);
    all.earliestDueSeconds = std::min(all.earliestDueSeconds, due);
}

/// Takes the events out whose time has come, in the order in which they were sent.
std::vector<DelayedEvent> takeDue(State& all) {
    const double now = nowOf(all);
    const auto isDue = [now](const DelayedEvent& each) { return each.dueSeconds <= now; };
    std::vector<DelayedEvent> due;
    const std::lock_guard lock(all.localMutex);
    if (now < all.earliestDueSeconds) return due;
    due.reserve(static_cast<std::size_t>(std::count_if(all.delayed.begin(), all.delayed.end(), isDue)));
    all.earliestDueSeconds = kNever;
    for (auto& each : all.delayed) {
        if (isDue(each)) {
            due.push_back(std::move(each));
        } else {
            all.earliestDueSeconds = std::min(all.earliestDueSeconds, each.dueSeconds);
        }
    }
    // What was moved away keeps its time.
    all.delayed.erase(std::remove_if(all.delayed.begin(), all.delayed.end(), isDue), all.delayed.end());
    return due;
}

enum class eRoute { kNone, kQueued, kAtOnce };

void sendWithoutDelay(State& all, const KrSimEvent& event, eRoute local, eRoute remote, FirstException& exception) {
    if (remote == eRoute::kQueued) queueRemotely(all, event);
    if (local == eRoute::kQueued) queueLocally(all, event, exception);
    if (local == eRoute::kAtOnce) deliverNow(event, exception);
    if (remote == eRoute::kAtOnce) sendToChannel(all, event);
}

void send(const KrSimEvent& event, eRoute local, eRoute remote) {
    State& all = state();
    FirstException exception;
    if (event.getDelay() == 0.0) [[likely]] {
        sendWithoutDelay(all, event, local, remote, exception);
    } else {
        const double now = nowOf(all);
        const std::lock_guard lock(all.localMutex);
        pushDelayed(all, now, event, local != eRoute::kNone, remote != eRoute::kNone);
    }
    processAfterSend(all, exception);
    exception.rethrow();
}

/// Puts the event where the owner will find it, unless that is this thread or nobody. In one step under the lock: a
/// reset finds every event that a sender waits for.
std::shared_ptr<detail::DoneSignal> queueForOwner(State& all, const KrSimEvent& event) {
    KrSimEvent awaited = event;
    auto signal = awaited._expectDone();
    const double now = awaited.getDelay() == 0.0 ? 0.0 : nowOf(all);
    const std::lock_guard lock(all.localMutex);
    if (all.owner.load(std::memory_order_relaxed) == Kr::ThreadId::kNone || isOwner(all)) return nullptr;
    if (awaited.getDelay() == 0.0) {
        pushLocal(all, awaited);
    } else {
        pushDelayed(all, now, awaited, true, false);
    }
    return signal;
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
    send(event, eRoute::kQueued, eRoute::kNone);
}

void KrEventDispatcher::sendEventLocallyImmediately(const KrSimEvent& event) {
    send(event, eRoute::kAtOnce, eRoute::kNone);
}

bool KrEventDispatcher::sendEventLocallyImmediatelyBlocking(const KrSimEvent& event) {
    State& all = state();
    const auto owner = all.owner.load(std::memory_order_acquire);
    if (owner != Kr::ThreadId::kNone && owner != Kr::getCurrentThreadId()) {
        if (const auto signal = queueForOwner(all, event)) {
            return signal->wait() == detail::DoneSignal::eState::kHandled;
        }
    }
    sendEventLocallyImmediately(event);
    return true;
}

void KrEventDispatcher::sendEventLocallyAndRemotely(const KrSimEvent& event) {
    send(event, eRoute::kQueued, eRoute::kQueued);
}

void KrEventDispatcher::sendEventLocallyAndRemotelyImmediately(const KrSimEvent& event) {
    send(event, eRoute::kAtOnce, eRoute::kAtOnce);
}

void KrEventDispatcher::sendEventRemotely(const KrSimEvent& event) {
    send(event, eRoute::kNone, eRoute::kQueued);
}

void KrEventDispatcher::sendEventRemotelyImmediately(const KrSimEvent& event) {
    send(event, eRoute::kNone, eRoute::kAtOnce);
}

void KrEventDispatcher::preUpdate() {
    State& all = state();
    FirstException exception;
    for (const auto& each : takeDue(all)) {
        exception.guard([&] {
            send(each.event, each.isLocal ? eRoute::kAtOnce : eRoute::kNone,
                 each.isRemote ? eRoute::kAtOnce : eRoute::kNone);
        });
    }
    processLocalQueue(all, eCaller::kFrame, exception);
    exception.rethrow();
}

void KrEventDispatcher::postUpdate() {
    State& all = state();
    publishNames(all);
    Batch batch;
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

KrEventDispatcher::PendingEvents KrEventDispatcher::_getPendingEvents() {
    State& all = state();
    PendingEvents pending;
    pending.nowSeconds = nowOf(all);
    const std::lock_guard lock(all.localMutex);
    for (const auto& each : all.delayed) {
        if (!each.event._isAwaited()) pending.events.push_back(each);
    }
    for (const auto& event : all.local.events) {
        if (!event._isAwaited()) pending.events.push_back({event, pending.nowSeconds, true, false});
    }
    return pending;
}

void KrEventDispatcher::_replaceDelayedEvents(const PendingEvents& pending) {
    State& all = state();
    const double shift = nowOf(all) - pending.nowSeconds;
    std::vector<DelayedEvent> replaced;  // dies after the lock
    const std::lock_guard lock(all.localMutex);
    all.delayed.swap(replaced);
    std::copy_if(replaced.begin(), replaced.end(), std::back_inserter(all.delayed),
                 [](const DelayedEvent& each) { return each.event._isAwaited(); });
    for (const auto& each : pending.events) {
        all.delayed.push_back(each);
        all.delayed.back().dueSeconds += shift;
    }
    all.earliestDueSeconds = kNever;
    for (const auto& each : all.delayed)
        all.earliestDueSeconds = std::min(all.earliestDueSeconds, each.dueSeconds);
}

void KrEventDispatcher::_deliverQueuedEvents() {
    FirstException exception;
    processLocalQueue(state(), eCaller::kFrame, exception);
    exception.rethrow();
}

void KrEventDispatcher::_resetOwner() {
    State& all = state();
    Batch dropped;
    std::vector<DelayedEvent> droppedDelayed;
    const auto isAwaited = [](const KrSimEvent& event) { return event._isAwaited(); };
    const auto isDelayedAwaited = [](const DelayedEvent& each) { return each.event._isAwaited(); };

    const std::lock_guard lock(all.localMutex);
    all.owner.store(Kr::ThreadId::kNone);
    // They die after the lock, and the senders wake.
    std::copy_if(all.local.events.begin(), all.local.events.end(), std::back_inserter(dropped), isAwaited);
    std::copy_if(all.delayed.begin(), all.delayed.end(), std::back_inserter(droppedDelayed), isDelayedAwaited);
    std::erase_if(all.local.events, isAwaited);
    std::erase_if(all.delayed, isDelayedAwaited);
}

void KrEventDispatcher::_setClock(const Kr::IClock* clock) {
    State& all = state();
    const Kr::IClock* next = clock != nullptr ? clock : &Kr::SteadyClock::instance();
    const double shift = next->getSeconds() - nowOf(all);
    const std::lock_guard lock(all.localMutex);
    all.clock.store(next, std::memory_order_release);
    for (auto& each : all.delayed)
        each.dueSeconds += shift;
    all.earliestDueSeconds += shift;
}

}  // namespace KrSim
