#include "kr/events/internal/local_queues.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "kr/events/event_access.h"
#include "kr/events/internal/event_numbers.h"
#include "kr/platform/log.h"

namespace KrSim::detail {

namespace {

bool isStopLater(const PendingEvent& each) noexcept {
    return isStop(each.event);
}

/// Whether a restored state may replace it: no sender waits for its end.
bool mayReplace(const PendingEvent& each) noexcept {
    return !SimEventAccess::isAwaited(each.event);
}

struct ThreadEnd {
    ~ThreadEnd() { LocalQueues::instance().onThreadEnds(); }
};

template <class Item>
void moveTo(std::vector<Item>& target, std::vector<Item>& source) {
    target.insert(target.end(), std::make_move_iterator(source.begin()), std::make_move_iterator(source.end()));
    source.clear();
}

}  // namespace

// --- A queue -------------------------------------------------------------------------------------------------------

unsigned LocalQueue::_push(EventBuffer& buffer, const KrSimEvent& event) {
    const bool isFull = domain != nullptr && !isRunning.load(std::memory_order_relaxed) &&
                        local.events.size() + forwarded.events.size() >= kMostIdleEvents;
    if (!isFull || event.ID() != kMessageNumber) {
        buffer.events.push_back(event);
        hasLocal.store(true, std::memory_order_relaxed);
    }
    return isFull && !std::exchange(isWarnedOf, true) ? number.load() : 0;
}

void warnOfIdleEvents(unsigned application) {
    if (application == 0) return;
    Kr::logMessage(
        Kr::eLogLevel::kWarn,
        "KrEventDispatcher: %zu events wait for application %u of this process, which does not run and whose "
        "thread processes no events. Until it does, it gets no further log messages; run, update or destroy "
        "the application\n",
        LocalQueue::kMostIdleEvents, application);
}

void LocalQueue::pushDelayed(double now, const KrSimEvent& event, bool isLocal, bool isRemote) {
    const double due = now + event.getDelay();
    delayed.push_back({event, due, isLocal, isRemote});
    delayed.back().event.setDelay(0.0);
    earliestDueSeconds.store(std::min(earliestDueSeconds.load(), due));
}

void LocalQueue::updateEarliestDue() noexcept {
    double earliest = kNever;
    for (const auto& each : delayed)
        earliest = std::min(earliest, each.dueSeconds);
    earliestDueSeconds.store(earliest);
}

// --- Which queue ---------------------------------------------------------------------------------------------------

LocalQueues& LocalQueues::instance() {
    static auto& all = *new LocalQueues;
    return all;
}

LocalQueue& LocalQueues::_routeBetweenFrames(ThreadEvents& self) {
    const std::lock_guard lock(mutex);
    const auto own =
        std::find_if(_running.begin(), _running.end(), [](const auto* each) { return each->isOwnedHere(); });
    self.mayRunMore = own != _running.end();
    return self.mayRunMore ? **own : *receiver.load();
}

LocalQueue& LocalQueues::rerouteLocked(LocalQueue& queue, const ThreadEvents& self) noexcept {
    const bool isOwn = &queue == self.current || (queue.isRunning.load() && queue.isOwnedHere());
    return isOwn ? queue : *receiver.load();
}

template <class Call>
void LocalQueues::_forEachKnownLocked(LocalQueue* queue, const Call& call) {
    const bool isAlone = _running.size() == 1 && _running.front() == queue;
    if (_running.empty() || isAlone) call(common);
    if (queue != nullptr) {
        call(*queue);
        return;
    }
    for (auto* each : _applications) {
        if (each->isOwnedHere()) call(*each);
    }
}

LocalQueue* LocalQueues::findKnown(LocalQueue* queue, std::size_t index) {
    LocalQueue* found = nullptr;
    const std::lock_guard lock(mutex);
    _forEachKnownLocked(queue, [&](LocalQueue& each) {
        if (index-- == 0) found = &each;
    });
    return found;
}

std::vector<LocalQueue*> LocalQueues::findIdleWithEvents() {
    std::vector<LocalQueue*> found;
    bool isAnyLeft = false;
    const std::lock_guard lock(mutex);
    for (auto* each : _applications) {
        if (each->isRunning.load() || (!each->hasLocal.load() && each->delayed.empty())) continue;
        isAnyLeft = true;
        if (each->isOwnedHere()) found.push_back(each);
    }
    mayHaveIdleEvents.store(isAnyLeft, std::memory_order_relaxed);
    return found;
}

void LocalQueues::_updateReceiver() noexcept {
    receiver.store(_running.empty() ? &common : _running.front(), std::memory_order_release);
}

// --- Events --------------------------------------------------------------------------------------------------------

bool LocalQueues::take(LocalQueue& queue, ThreadEvents& self, bool anyThread, EventBatches& batches) {
    if (queue.owner.load(std::memory_order_relaxed) == Kr::ThreadId::kNone && !self.hasEnded) watchThread(self);
    const std::lock_guard lock(mutex);
    if (queue.owner.load(std::memory_order_relaxed) == Kr::ThreadId::kNone) {
        if (!self.hasEnded) queue.owner.store(Kr::getCurrentThreadId());
    } else if (!anyThread && !queue.isOwnedHere()) {
        return false;
    }
    if (!queue.forwarded.events.empty()) batches.forwarded = queue.forwarded.take();
    batches.local = queue.local.take();
    batches.application = queue.number.load();
    queue.isWarnedOf = false;
    queue.hasLocal.store(false, std::memory_order_relaxed);
    return true;
}

void LocalQueues::giveBack(LocalQueue& queue, EventBatches& batches) {
    batches.forwarded.clear();
    batches.local.clear();
    const std::lock_guard lock(mutex);
    queue.forwarded.giveBack(batches.forwarded);
    queue.local.giveBack(batches.local);
}

std::vector<PendingEvent> LocalQueues::takeDue(LocalQueue& queue) {
    std::vector<PendingEvent> due;
    if (queue.earliestDueSeconds.load(std::memory_order_relaxed) == LocalQueue::kNever) return due;
    const double nowSeconds = now();
    if (nowSeconds < queue.earliestDueSeconds.load(std::memory_order_relaxed)) return due;
    const auto isDue = [nowSeconds](const PendingEvent& each) { return each.dueSeconds <= nowSeconds; };
    const std::lock_guard lock(mutex);
    due.reserve(static_cast<std::size_t>(std::count_if(queue.delayed.begin(), queue.delayed.end(), isDue)));
    for (auto& each : queue.delayed) {
        if (isDue(each)) due.push_back(std::move(each));
    }
    // What was moved away keeps its time.
    std::erase_if(queue.delayed, isDue);
    queue.updateEarliestDue();
    return due;
}

std::vector<PendingEvent> LocalQueues::copyPending(LocalQueue* queue) {
    std::vector<PendingEvent> pending;
    const double nowSeconds = now();
    const std::lock_guard lock(mutex);
    _forEachKnownLocked(queue, [&](const LocalQueue& each) {
        std::copy_if(each.delayed.begin(), each.delayed.end(), std::back_inserter(pending), mayReplace);
    });
    _forEachKnownLocked(queue, [&](const LocalQueue& each) {
        for (const auto& event : each.local.events) {
            if (!SimEventAccess::isAwaited(event)) pending.push_back({event, nowSeconds, true, false});
        }
    });
    return pending;
}

std::vector<PendingEvent> LocalQueues::replaceDelayed(LocalQueue* queue, std::vector<PendingEvent>&& events,
                                                      double shiftSeconds) {
    std::vector<PendingEvent> replaced;
    LocalQueue& target = queue != nullptr ? *queue : common;
    const std::lock_guard lock(mutex);
    // All the memory first.
    std::size_t count = 0;
    _forEachKnownLocked(queue, [&](const LocalQueue& each) { count += each.delayed.size(); });
    replaced.reserve(count);
    target.delayed.reserve(target.delayed.size() + events.size());
    _forEachKnownLocked(queue, [&](LocalQueue& each) {
        const auto rest = std::stable_partition(each.delayed.begin(), each.delayed.end(), std::not_fn(mayReplace));
        std::move(rest, each.delayed.end(), std::back_inserter(replaced));
        each.delayed.erase(rest, each.delayed.end());
        each.updateEarliestDue();
    });
    for (auto& each : events) {
        each.dueSeconds += shiftSeconds;
        each.isRestored = true;
        target.delayed.push_back(std::move(each));
    }
    target.updateEarliestDue();
    return replaced;
}

std::optional<PendingEvent> LocalQueues::takeDelayedSince(LocalQueue* queue) noexcept {
    std::optional<PendingEvent> taken;
    const std::lock_guard lock(mutex);
    _forEachKnownLocked(queue, [&](LocalQueue& each) {
        auto& delayed = each.delayed;
        const auto found = std::find_if(delayed.rbegin(), delayed.rend(),
                                        [](const auto& one) { return mayReplace(one) && !one.isRestored; });
        if (taken || found == delayed.rend()) return;
        taken = std::move(*found);
        delayed.erase(std::next(found).base());
        each.updateEarliestDue();
    });
    return taken;
}

// --- Owners --------------------------------------------------------------------------------------------------------

void LocalQueues::watchThread(ThreadEvents& self) {
    if (self.isWatched) return;
    thread_local const ThreadEnd end;
    static_cast<void>(&end);
    self.isWatched = true;
}

void LocalQueues::bind(LocalQueue& queue) {
    watchThread(threadEvents);
    const std::lock_guard lock(mutex);
    _applications.push_back(&queue);
    queue.number.store(++_lastNumber);
    queue.creator = threadEvents.hasEnded ? Kr::ThreadId::kNone : Kr::getCurrentThreadId();
    queue.owner.store(queue.creator);
}

void LocalQueues::enter(LocalQueue& queue) {
    auto& self = threadEvents;
    if (queue.isRunning.load(std::memory_order_relaxed) && queue.isOwnedHere()) return;
    watchThread(self);
    const std::lock_guard lock(mutex);
    queue.owner.store(Kr::getCurrentThreadId());
    self.mayRunMore = true;
    if (!queue.isRunning.load()) _runLocked(queue);
}

void LocalQueues::_runLocked(LocalQueue& queue) {
    _running.reserve(_running.size() + 1);
    common.local.events.reserve(common.local.events.size() + queue.local.events.size());
    common.delayed.reserve(common.delayed.size() + queue.delayed.size());
    _running.push_back(&queue);
    queue.isRunning.store(true);
    _updateReceiver();
    if (_running.size() > 1) return;
    // A request to exit that was sent before this application existed must not stop it.
    std::erase_if(common.local.events, isStop);
    std::erase_if(common.delayed, isStopLater);
    moveTo(common.local.events, queue.local.events);
    common.local.events.swap(queue.local.events);
    moveTo(common.delayed, queue.delayed);
    common.delayed.swap(queue.delayed);
    queue.updateEarliestDue();
    common.updateEarliestDue();
    if (common.hasLocal.exchange(false)) queue.hasLocal.store(true);
    common.owner.store(Kr::ThreadId::kNone);
}

void LocalQueues::stop(LocalQueue& queue) noexcept {
    const std::lock_guard lock(mutex);
    _stopLocked(queue);
}

void LocalQueues::end(LocalQueue& queue) noexcept {
    const std::lock_guard lock(mutex);
    _stopLocked(queue);
    queue.owner.store(Kr::getCurrentThreadId());
}

void LocalQueues::_stopLocked(LocalQueue& queue) noexcept {
    std::erase(_running, &queue);
    _updateReceiver();
    if (!queue.isRunning.exchange(false)) return;
    mayHaveIdleEvents.store(true, std::memory_order_relaxed);
    _dropAwaited(queue);
    // Requests to exit were for the loop that has ended.
    std::erase_if(queue.local.events, isStop);
    std::erase_if(queue.forwarded.events, isStop);
    std::erase_if(queue.delayed, isStopLater);
}

void LocalQueues::retire(LocalQueue& queue) noexcept {
    const std::lock_guard lock(mutex);
    _stopLocked(queue);
    _dropAwaited(queue);
    std::erase(_applications, &queue);
    queue.owner.store(Kr::ThreadId::kNone);
    queue.creator = Kr::ThreadId::kNone;
    try {
        _handOverLocked(queue, *receiver.load());
    } catch (...) {  // no memory: the rest ends with the application
    }
    queue.forwarded.events.clear();
    queue.local.events.clear();
    queue.delayed.clear();
    queue.isWarnedOf = false;
    queue.number.store(0);
    queue.hasLocal.store(false);
    queue.earliestDueSeconds.store(LocalQueue::kNever);
}

void LocalQueues::_handOverLocked(const LocalQueue& queue, LocalQueue& next) {
    const auto isOfOthers = [](const KrSimEvent& event) {
        return !SimEventAccess::isOfApplication(event) && !isStop(event);
    };
    for (const auto& event : queue.local.events) {
        if (isOfOthers(event)) static_cast<void>(next.pushLocal(event));  // the next one that is full has the warning
    }
    for (const auto& each : queue.delayed) {
        if (!isOfOthers(each.event)) continue;
        next.delayed.push_back(each);
        next.earliestDueSeconds.store(std::min(next.earliestDueSeconds.load(), each.dueSeconds));
    }
}

// Events die under the lock here: that frees memory and raises signals only.
void LocalQueues::_dropAwaited(LocalQueue& queue) noexcept {
    std::erase_if(queue.local.events, [](const KrSimEvent& event) { return SimEventAccess::isAwaited(event); });
    std::erase_if(queue.delayed, [](const PendingEvent& each) { return SimEventAccess::isAwaited(each.event); });
}

void LocalQueues::resetCommonOwner() noexcept {
    const std::lock_guard lock(mutex);
    common.owner.store(Kr::ThreadId::kNone);
    _dropAwaited(common);
}

void LocalQueues::onThreadEnds() noexcept {
    threadEvents.hasEnded = true;
    const auto ended = Kr::getCurrentThreadId();
    const std::lock_guard lock(mutex);
    if (common.owner.load() == ended) {
        common.owner.store(Kr::ThreadId::kNone);
        _dropAwaited(common);
    }
    for (auto* each : _applications) {
        if (each->creator == ended) each->creator = Kr::ThreadId::kNone;
        if (each->owner.load() != ended) continue;
        _stopLocked(*each);
        each->owner.store(each->creator);
    }
}

void LocalQueues::setClock(const Kr::IClock& next) {
    const double shift = next.getSeconds() - now();
    const std::lock_guard lock(mutex);
    clock.store(&next, std::memory_order_release);
    const auto shiftAll = [shift](LocalQueue& queue) {
        for (auto& each : queue.delayed)
            each.dueSeconds += shift;
        queue.earliestDueSeconds.store(queue.earliestDueSeconds.load() + shift);
    };
    shiftAll(common);
    for (auto* each : _applications)
        shiftAll(*each);
}

}  // namespace KrSim::detail
