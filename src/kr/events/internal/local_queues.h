#pragma once

#include <atomic>
#include <cstddef>
#include <limits>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "kr/events/fwd.h"
#include "kr/events/pending_event.h"
#include "kr/platform/clock.h"
#include "kr/platform/thread_id.h"

namespace KrSim::detail {

class CallbackDelivery;
class EventDomain;
using EventBatch = std::vector<KrSimEvent>;

/// A vector to fill, and one with capacity that the next batch swaps in.
struct EventBuffer {
    EventBatch events;
    EventBatch spare;

    /// Call it under the lock of the queue.
    [[nodiscard]] EventBatch take() noexcept {
        EventBatch batch = std::exchange(spare, {});
        std::swap(batch, events);
        return batch;
    }
    /// The same; the batch is empty again.
    void giveBack(EventBatch& batch) noexcept {
        if (batch.capacity() > spare.capacity()) std::swap(batch, spare);
    }
};

/// The events of one processing: first those forwarded by the deliveries of other queues.
struct EventBatches {
    EventBatch forwarded;
    EventBatch local;
    unsigned application{0};  // the queue's when they were taken out
};

/// Events queued for one thread, its owner: those of one application, or of none.
///
/// Queues are never destroyed, so an outdated pointer to one is harmless. Atomics are written under the lock of
/// LocalQueues and read without it, other members are for holders of that lock.
class LocalQueue {
public:
    static constexpr double kNever = std::numeric_limits<double>::infinity();
    /// When so many events wait for an application that does not run, a warning is due, and log messages are dropped
    /// from then on: the thread of such an application may never process events again.
    static constexpr std::size_t kMostIdleEvents = 10'000;

    LocalQueue() = default;
    LocalQueue(const LocalQueue&) = delete;
    LocalQueue& operator=(const LocalQueue&) = delete;

    [[nodiscard]] bool isOwnedHere() const noexcept {
        return owner.load(std::memory_order_relaxed) == Kr::getCurrentThreadId();
    }
    /// \return  the number of the application for which this warning is due, once until processing; mostly 0.
    [[nodiscard]] unsigned pushLocal(const KrSimEvent& event) { return _push(local, event); }
    /// The same, for the listeners of the application only: other listeners have been called.
    [[nodiscard]] unsigned pushForwarded(const KrSimEvent& event) { return _push(forwarded, event); }
    void pushDelayed(double now, const KrSimEvent& event, bool isLocal, bool isRemote);
    void updateEarliestDue() noexcept;

    std::atomic<Kr::ThreadId> owner{Kr::ThreadId::kNone};
    std::atomic<bool> hasLocal{false};               // or forwarded ones
    std::atomic<bool> isRunning{false};              // the main loop of the application runs
    std::atomic<unsigned> number{0};                 // of the application, in the order of creation; 0 without one
    std::atomic<double> earliestDueSeconds{kNever};  // of the delayed ones

    EventDomain* domain{nullptr};               // of the application; null: the common queue
    Kr::ThreadId creator{Kr::ThreadId::kNone};  // made the application and has not ended
    EventBuffer local;
    EventBuffer forwarded;
    std::vector<PendingEvent> delayed;
    bool isWarnedOf{false};  // since the last processing

private:
    unsigned _push(EventBuffer& buffer, const KrSimEvent& event);
};

/// Logs the warning of LocalQueue::pushLocal, without a lock. Does nothing for 0.
void warnOfIdleEvents(unsigned application);

/// The delivery that calls an event manager.
struct Delivery {
    const LocalQueue* queue;  ///< that the event was sent to
    unsigned application;     ///< that had the queue then; 0 for none
    bool isForAll;            ///< it came from another process
    bool isImmediate;         ///< it is an immediate send, through no application, by the delivering thread
};

/// The state of a thread that delivers events. Needs no destruction, so that it is usable while the thread ends.
struct ThreadEvents {
    /// The queue of the application whose run or update is in progress on this thread, the innermost one.
    LocalQueue* current{nullptr};
    const Delivery* delivery{nullptr};           // the innermost one; null outside of deliveries
    const CallbackDelivery* callbacks{nullptr};  // the innermost delivery to callbacks, of all tables
    int processingDepth{0};                      // how many times it is processing events, one inside the other
    bool wasTooDeep{false};                      // until the outermost one ends, sends only queue
    bool mayRunMore{false};                      // applications may wait for their next update on this thread
    bool isWatched{false};                       // its end will be noticed
    bool hasEnded{false};                        // what it owned was given up; it owns nothing any more
};

inline constinit thread_local ThreadEvents threadEvents;

/// Which queue an event waits in, which thread owns that queue, and when that ends.
///
/// Each application has a queue. Its owner is the thread that made the application, then the one that runs it. All
/// other events wait in the common queue while no application runs, and in that of the application that has been
/// running for longest otherwise; the common queue belongs to the first thread that processes it. A thread that ends
/// owns nothing: an application's queue returns to the thread that made the application, if that one lives.
/// Thread: any. One lock guards all queues; no event is delivered or destroyed under it.
class LocalQueues {
public:
    /// The one instance, never destroyed.
    static LocalQueues& instance();

    // --- Which queue -----------------------------------------------------------------------------------------------
    /// The queue of an event that this thread sends through no application. Takes no lock inside frames, and on threads
    /// that run no application.
    [[nodiscard]] LocalQueue& route(ThreadEvents& self) {
        if (self.current != nullptr) return *self.current;
        return self.mayRunMore ? _routeBetweenFrames(self) : *receiver.load(std::memory_order_acquire);
    }
    /// The same under the lock, for a queue found without it: its application may have ended meanwhile.
    [[nodiscard]] LocalQueue& rerouteLocked(LocalQueue& queue, const ThreadEvents& self) noexcept;
    /// Whether events of other threads and other processes arrive in this queue.
    [[nodiscard]] bool isReceiver(const LocalQueue& queue) const noexcept {
        return receiver.load(std::memory_order_relaxed) == &queue;
    }
    /// One of the queues whose events an application knows: its own, and the common one while no application runs.
    /// Null: those that this thread processes. Null past the last one.
    [[nodiscard]] LocalQueue* findKnown(LocalQueue* queue, std::size_t index);
    /// Of applications that do not run, owned by this thread, with events.
    [[nodiscard]] std::vector<LocalQueue*> findIdleWithEvents();

    // --- Events ----------------------------------------------------------------------------------------------------
    /// Removes the waiting events. This thread becomes the owner of a queue without one.
    /// \param anyThread  otherwise false, and nothing taken, when another thread owns the queue: two first senders.
    [[nodiscard]] bool take(LocalQueue& queue, ThreadEvents& self, bool anyThread, EventBatches& batches);
    void giveBack(LocalQueue& queue, EventBatches& batches);
    /// Removes the events that are due, in the order in which they were sent.
    [[nodiscard]] std::vector<PendingEvent> takeDue(LocalQueue& queue);
    /// The events of the queues of findKnown, without those of blocking senders: delayed events, then queued ones.
    [[nodiscard]] std::vector<PendingEvent> copyPending(LocalQueue* queue);
    /// Replaces the delayed events of the same queues by these, due so many seconds later. Returns the previous ones.
    /// Throws std::bad_alloc, with nothing replaced and `events` unchanged.
    [[nodiscard]] std::vector<PendingEvent> replaceDelayed(LocalQueue* queue, std::vector<PendingEvent>&& events,
                                                           double shiftSeconds);
    /// Removes one of the delayed events that were sent since, the last one first.
    [[nodiscard]] std::optional<PendingEvent> takeDelayedSince(LocalQueue* queue) noexcept;

    // --- Owners ----------------------------------------------------------------------------------------------------
    /// An application was created on this thread.
    void bind(LocalQueue& queue);
    /// The calling thread runs the application from now on. The first one takes over the common queue.
    void enter(LocalQueue& queue);
    /// The main loop has ended: blocking senders are released.
    void stop(LocalQueue& queue) noexcept;
    /// The application will die on this thread, which owns the queue from now on.
    void end(LocalQueue& queue) noexcept;
    /// The application dies: events sent through it are dropped, the others are moved to other queues.
    void retire(LocalQueue& queue) noexcept;
    /// The common queue has no owner until the next thread processes it. Blocking senders are released.
    void resetCommonOwner() noexcept;
    /// The end of the calling thread is noticed from here on.
    void watchThread(ThreadEvents& self);
    void onThreadEnds() noexcept;

    [[nodiscard]] double now() const { return clock.load(std::memory_order_acquire)->getSeconds(); }
    void setClock(const Kr::IClock& next);

    std::mutex mutex;
    LocalQueue common;
    std::atomic<LocalQueue*> receiver{&common};
    std::atomic<const Kr::IClock*> clock{&Kr::SteadyClock::instance()};
    std::atomic<bool> mayHaveIdleEvents{false};  // set by a thread that queues, cleared by one that finds none

private:
    LocalQueues() = default;
    ~LocalQueues() = delete;
    [[nodiscard]] LocalQueue& _routeBetweenFrames(ThreadEvents& self);
    template <class Call>
    void _forEachKnownLocked(LocalQueue* queue, const Call& call);
    void _runLocked(LocalQueue& queue);
    void _stopLocked(LocalQueue& queue) noexcept;
    static void _handOverLocked(const LocalQueue& queue, LocalQueue& next);
    static void _dropAwaited(LocalQueue& queue) noexcept;
    void _updateReceiver() noexcept;

    std::vector<LocalQueue*> _applications;
    std::vector<LocalQueue*> _running;  // the oldest first
    unsigned _lastNumber{0};            // of an application
};

}  // namespace KrSim::detail
