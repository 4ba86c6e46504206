#pragma once

#include <memory>
#include <vector>

#include "kr/events/fwd.h"
#include "kr/events/pending_event.h"
#include "kr/platform/clock.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The low-level event service of the process: brings events by their number to listeners, at once or through a queue,
/// now or after a delay, and to other applications through the shared event channel. docs/events.md tells the order.
///
/// Owner thread: the first thread that processes the local queue; every send does so while there is no owner, so it is
/// the first sender unless a frame was earlier. A queued event that the owner sends is delivered before the send
/// returns; those of other threads wait for the owner's next send or frame.
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
    /// Queues the event and waits until the owner thread has delivered it. At once, without waiting, on the owner
    /// thread itself and while there is none. Never call it while the owner waits for this thread: both would wait for
    /// ever. \return  false when the owner was reset, or the last copy of the event was lost, before listeners were
    /// called.
    static bool sendEventLocallyImmediatelyBlocking(const KrSimEvent& event);
    static void sendEventLocallyAndRemotely(const KrSimEvent& event);
    static void sendEventLocallyAndRemotelyImmediately(const KrSimEvent& event);
    static void sendEventRemotely(const KrSimEvent& event);
    static void sendEventRemotelyImmediately(const KrSimEvent& event);

    /// Once per frame, before the update: sends the delayed events that are due, then processes the local queue.
    static void preUpdate();
    /// Once per frame, after the update: publishes up to five event names that wait, and hands the queue for other
    /// applications to the channel. Without a channel the queue is dropped; the names go on waiting.
    static void postUpdate();

    /// While on, sends do not process the local queue: only preUpdate does. Immediate sends still deliver at once.
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
    [[nodiscard]] static PendingEvents _getPendingEvents();
    /// Puts these in the place of the delayed events, each due as long from now as it was then. Events whose senders
    /// wait stay.
    static void _replaceDelayedEvents(const PendingEvents& pending);
    /// Delivers what is queued, as preUpdate does, but no delayed events.
    static void _deliverQueuedEvents();
    /// Queues all local event names and publishes the first ones: an application has joined that knows none.
    static void _publishEventNames();
    /// For the end of an application: there is no owner until the next thread processes the queue. Senders that wait
    /// are let go and their events dropped, since those may point into what the senders now destroy; other events stay.
    static void _resetOwner();
    /// The clock of delays; null is the steady clock. Borrowed. What is left of a running delay stays as long.
    static void _setClock(const Kr::IClock* clock);
};

}  // namespace KrSim
