#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "kr/events/fwd.h"
#include "kr/events/pending_event.h"
#include "kr/platform/clock.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The low-level event service of the process: brings events by their number to listeners, immediately or through a
/// queue, now or after a delay, and to other applications through the shared event channel. Order: docs/events.md.
///
/// Queues: a queued event waits in the queue of the application that the sending thread runs; on other threads, in that
/// of the application that has been running for longest; without a running one, in the common queue. A send through the
/// event manager of an application waits in the queue of that application.
/// Owner thread: an application's queue belongs to the thread that runs the application, the common one to the first
/// thread that processes it; every send does so while there is no owner. A thread that ends owns nothing. A queued
/// event that the owner sends is delivered before the send returns; those of other threads wait for the owner's next
/// send or frame.
/// Thread: all operations on any thread. No listener is called under a lock, so listeners may send, register and
/// unregister. Exceptions of listeners: every listener of every event is called, then the first exception continues out
/// of the send or the frame.
class KR_API KrEventDispatcher {
public:
    KrEventDispatcher() = delete;

    /// Appends the listener for this number. Null, or a listener that has the number already, is ignored. Borrowed: a
    /// listener that dies is unregistered.
    static void registerListener(int id, KrSimEventListener* listener);
    /// A delivery that has begun still calls the listener.
    static void unregisterListener(int id, KrSimEventListener* listener);

    /// Events are copied. One with a delay is kept until the first frame at which the delay is over, and then sent by
    /// the thread of that frame as an immediate one, whatever the operation was.
    static void sendEvent(const KrSimEvent& event) { sendEventLocallyAndRemotely(event); }
    static void sendEventLocally(const KrSimEvent& event);
    static void sendEventLocallyImmediately(const KrSimEvent& event);
    /// Queues the event and waits until the owner thread has delivered it. On the owner thread itself, and while there
    /// is none, an immediate send. Never call it while the owner waits for this thread: both would wait for ever. A
    /// warning names the application after ten seconds. \return  false when the owner's main loop or thread ended, or
    /// the last copy of the event was lost, before listeners were called.
    static bool sendEventLocallyImmediatelyBlocking(const KrSimEvent& event);
    static void sendEventLocallyAndRemotely(const KrSimEvent& event);
    static void sendEventLocallyAndRemotelyImmediately(const KrSimEvent& event);
    static void sendEventRemotely(const KrSimEvent& event);
    static void sendEventRemotelyImmediately(const KrSimEvent& event);

    /// Once per frame, before the update: sends the delayed events that are due, then processes the local queue. Inside
    /// a frame of an application that is its queue; elsewhere the common one, and those of applications that do not run
    /// and belong to this thread.
    static void preUpdate();
    /// Once per frame, after the update: publishes up to five event names that wait, and hands the queue for other
    /// applications to the channel. Without a channel the queue is dropped; the names go on waiting.
    static void postUpdate();

    /// While on, sends do not process the local queue: only preUpdate does. Immediate sends still deliver.
    static void enableExternalControl(bool enabled) noexcept;
    [[nodiscard]] static bool isExternalControlEnabled() noexcept;

    /// The channel to other applications, or null. A send under way on another thread may still use the old one.
    static void setSharedEventChannel(std::shared_ptr<SharedEventChannel> channel);
    [[nodiscard]] static std::shared_ptr<SharedEventChannel> getSharedEventChannel();

    /// What waits for local or later delivery, in the order of sending: delayed events, then queued ones, which are
    /// due. Without those whose senders wait, and without the queue for other applications.
    struct PendingEvents {
        std::vector<PendingEvent> events;
        double nowSeconds{0.0};  ///< by the clock of delays
    };
    /// Of the application with this manager, and of none while no other application runs. Null: of the application that
    /// this thread runs, else of none and of all that belong to this thread.
    [[nodiscard]] static PendingEvents _getPendingEvents(const EventManagerImplementation* manager = nullptr);
    /// Puts these in the place of the delayed events of the same queues, each due as long from now as it was then.
    /// Events whose senders wait stay. Answers those that were there before. Throws std::bad_alloc, with nothing
    /// replaced and `pending` as it was.
    static std::vector<PendingEvent> _replaceDelayedEvents(PendingEvents&& pending,
                                                           const EventManagerImplementation* manager = nullptr);
    /// Takes out one of the delayed events of these queues that were sent since the last replacement; none at the end.
    [[nodiscard]] static std::optional<PendingEvent> _takeDelayedSince(
        const EventManagerImplementation* manager) noexcept;
    /// Delivers what is queued there, as preUpdate does, but no delayed events. Allocates nothing itself.
    static void _deliverQueuedEvents(const EventManagerImplementation* manager = nullptr);
    /// Queues all local event names and publishes the first ones: an application has joined that knows none.
    static void _publishEventNames();
    /// The common queue has no owner until the next thread processes it. Senders that wait there are released and their
    /// events dropped, since those may point into what the senders now destroy; other events stay.
    static void _resetOwner();
    /// The send behind the event managers; null is the queue of an event that is sent through no application.
    static void _send(const KrSimEvent& event, eEventRoute local, eEventRoute remote, detail::LocalQueue* queue);
    /// A message of the log, locally. See EventManagerImplementation::_publish.
    static void _sendMessage(const KrSimEvent& event, detail::LocalQueue* queue);
    /// A value on its way to a field, locally: through the queue of the field's application, null for none.
    /// \param isAtHome  the thread made the connection: while no application runs the field, the value arrives before
    ///                  the send returns, whichever thread owns the queue.
    static void _sendValue(const KrSimEvent& event, detail::LocalQueue* queue, bool isAtHome);
    /// Whether the queue is that of an application which another thread runs.
    [[nodiscard]] static bool _runsElsewhere(const detail::LocalQueue* queue) noexcept;
    /// Whether this thread is inside of run or update of an application.
    [[nodiscard]] static bool _isInFrame() noexcept;
    /// Seconds that a blocking sender waits, beside the delay of its event, before it logs the warning.
    static void _setPatience(double seconds);
    /// The clock of delays; null is the steady clock. Borrowed. What is left of a running delay stays as long.
    static void _setClock(const Kr::IClock* clock);
};

}  // namespace KrSim
