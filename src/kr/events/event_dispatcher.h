#pragma once

#include <memory>
#include <vector>

#include "kr/events/fwd.h"
#include "kr/events/pending_event.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The low-level event service of the process: delivers events to listeners by their number, immediately or through a
/// queue, with or without a delay, and to other applications through the shared event channel. Order: docs/events.md.
///
/// Queues: a queued event waits in the queue of the application that the sending thread runs; on other threads, in that
/// of the application that has been running longest; without a running application, in the common queue. A send through
/// the event manager of an application waits in the queue of that application.
/// Owner thread: an application's queue belongs to the thread that runs the application, the common queue to the first
/// thread that processes it; every send processes it while it has no owner. A thread that ends loses its queues. A
/// queued event that the owner sends is delivered before the send returns; those of other threads wait for the owner's
/// next send or frame.
/// Thread: any. No listener is called under a lock, so listeners may send, register and unregister. Exceptions of
/// listeners: every listener of every event is called, then the first exception is thrown from the send or the frame.
/// Ownership: listeners are borrowed, events copied.
class KR_API KrEventDispatcher {
public:
    KrEventDispatcher() = delete;

    /// Appends the listener for this number. Ignores null, and a listener that is registered for the number already.
    /// Borrowed: a listener that dies is unregistered.
    static void registerListener(int id, KrSimEventListener* listener);
    /// A delivery in progress still calls the listener.
    static void unregisterListener(int id, KrSimEventListener* listener);

    /// Queues the event for local listeners and for other applications. Events are copied. An event with a delay is
    /// kept until the first frame after the delay, and then sent by the thread of that frame as an immediate one,
    /// whatever the operation was.
    static void sendEvent(const KrSimEvent& event) { sendEventLocallyAndRemotely(event); }
    /// Queued, for listeners of this process only.
    static void sendEventLocally(const KrSimEvent& event);
    /// Delivered before the send returns, on this thread, to listeners of this process only.
    static void sendEventLocallyImmediately(const KrSimEvent& event);
    /// Queues the event and waits until the owner thread has delivered it. On the owner thread itself, and while the
    /// queue has no owner, an immediate send. Never call it while the owner waits for this thread: that is a deadlock.
    /// After ten seconds a warning names the application.
    /// \return  false when the owner's main loop or thread ended, or the last copy of the event was lost, before
    ///          listeners were called.
    static bool sendEventLocallyImmediatelyBlocking(const KrSimEvent& event);
    /// Both queued; the same as sendEvent.
    static void sendEventLocallyAndRemotely(const KrSimEvent& event);
    /// Local listeners immediately, other applications without the queue.
    static void sendEventLocallyAndRemotelyImmediately(const KrSimEvent& event);
    /// Queued for other applications until the end of the frame; not for listeners of this process.
    static void sendEventRemotely(const KrSimEvent& event);
    /// Passed to the channel before the send returns.
    static void sendEventRemotelyImmediately(const KrSimEvent& event);

    /// Once per frame, before the update: sends the delayed events that are due, then processes the local queue. Inside
    /// a frame of an application that is its queue; elsewhere the common queue, and those of applications that do not
    /// run and belong to this thread.
    static void preUpdate();
    /// Once per frame, after the update: publishes up to five waiting event names, and passes the queue for other
    /// applications to the channel. Without a channel the queue is dropped; the names keep waiting.
    static void postUpdate();

    /// Sends do not process the local queue while this is enabled: only preUpdate does. Immediate sends still deliver.
    static void enableExternalControl(bool enabled) noexcept;
    [[nodiscard]] static bool isExternalControlEnabled() noexcept;

    /// The channel to other applications, or null. A send in progress on another thread may still use the old one.
    static void setSharedEventChannel(std::shared_ptr<SharedEventChannel> channel);
    [[nodiscard]] static std::shared_ptr<SharedEventChannel> getSharedEventChannel();

    /// Events that wait for local or later delivery, in the order of sending: delayed events, then queued ones, which
    /// are due. Without events of blocking senders, and without the queue for other applications.
    struct PendingEvents {
        std::vector<PendingEvent> events;
        double nowSeconds{0.0};  ///< by the clock of delays
    };
};

}  // namespace KrSim
