#pragma once

#include <functional>

#include "kr/events/event_manager.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// The event manager of an application, above the dispatcher.
///
/// Subscribed at the dispatcher to the ids that have a live callback. It publishes the names of this process's events
/// when an application joins the network.
/// Events that are sent through the manager of an application wait in a queue of their own, and callbacks of queued
/// events run on the thread of the application only. Others use the common queue.
/// Lifetime: handles may outlive it; their callbacks are not called any more. Its destructor waits for deliveries that
/// are under way on other threads.
class KR_API EventManagerImplementation final : public EventManager {
public:
    /// What a handle holds: the id and the callback, which may be empty.
    class EventCallback;
    class Running;

    enum class eQueue {
        kCommon,
        kOwn,  ///< of an application; the calling thread is the first owner
    };

    explicit EventManagerImplementation(eQueue queue = eQueue::kCommon);
    ~EventManagerImplementation() override;

    /// A handle on the object; empty for null and for an object that is being destroyed.
    [[nodiscard]] static EventListener createListener(const Kr::KrSmartPtr<Kr::KrRefCount>& object);

    [[nodiscard]] EventListener registerListener(const EventId& id,
                                                 std::function<void(const EventData&)> callback) override;
    bool sendEvent(const EventId& id, const EventData& data) override;

    // The other ways of the dispatcher, under its names.
    void sendEventLocally(const EventId& id, const EventData& data);
    void sendEventLocallyImmediately(const EventId& id, const EventData& data);
    void sendEventLocallyAndRemotelyImmediately(const EventId& id, const EventData& data);
    void sendEventRemotely(const EventId& id, const EventData& data);
    void sendEventRemotelyImmediately(const EventId& id, const EventData& data);
    /// For messages of the log: as sendEventLocally, but a running application delivers it if there is one, first that
    /// of this thread; and a thread that only logs does not become the owner of a queue of an application.
    void _publish(const EventId& id, const EventData& data);

    // For the application that owns the manager

    /// The main loop has ended. Blocking senders are released.
    void _stopRunning();
    /// The application is about to be destroyed on this thread: callbacks run here only from now on. Returns when no
    /// other thread is inside a callback.
    void _beginEnd();
    /// Null without an application. Good for ever, but it may become that of another application.
    [[nodiscard]] detail::LocalQueue* _getQueue() const noexcept;

private:
    detail::EventDomain& _domain;
    EventListener _applicationAdded;
};

/// The calling thread runs the application and owns its queue. While this lives, what the thread sends through no
/// application belongs to this one; then to the one around it again.
class KR_API EventManagerImplementation::Running {
public:
    explicit Running(EventManagerImplementation& manager);
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running();

private:
    detail::LocalQueue* _outer;
};

}  // namespace KrSim
