#pragma once

#include <functional>

#include "kr/events/event_manager.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// The event manager of an application, on top of the dispatcher.
///
/// It subscribes at the dispatcher to the ids that have a live callback, and publishes the names of this process's
/// events when an application joins the network.
/// Events that are sent through the manager of an application wait in the queue of that application, and callbacks of
/// queued events run on the thread of the application only. Other managers use the common queue.
/// Thread: any. The destructor waits for deliveries in progress on other threads.
/// Ownership: handles own callbacks and may outlive the manager; their callbacks are not called any more then.
class KR_API EventManagerImplementation final : public EventManager {
public:
    /// What a handle holds. The callback may be empty.
    class EventCallback;
    class Running;

    enum class eQueue {
        kCommon,
        kOwn,  ///< of an application; the calling thread is the first owner
    };

    /// Throws std::bad_alloc.
    explicit EventManagerImplementation(eQueue queue = eQueue::kCommon);
    ~EventManagerImplementation() override;

    /// A handle of the object; empty for null and for an object that is being destroyed.
    [[nodiscard]] static EventListener createListener(const Kr::KrSmartPtr<Kr::KrRefCount>& object);

    [[nodiscard]] EventListener registerListener(const EventId& id,
                                                 std::function<void(const EventData&)> callback) override;
    bool sendEvent(const EventId& id, const EventData& data) override;

    // The other sends of the dispatcher, under its names.
    void sendEventLocally(const EventId& id, const EventData& data);
    void sendEventLocallyImmediately(const EventId& id, const EventData& data);
    void sendEventLocallyAndRemotelyImmediately(const EventId& id, const EventData& data);
    void sendEventRemotely(const EventId& id, const EventData& data);
    void sendEventRemotelyImmediately(const EventId& id, const EventData& data);

private:
    friend struct detail::EventManagerAccess;

    /// Null without an application. Never destroyed, but it may become that of another application.
    [[nodiscard]] detail::LocalQueue* _getQueue() const noexcept;

    detail::EventDomain& _domain;
    EventListener _applicationAdded;
};

/// States that the calling thread runs the application and owns its queue. During its lifetime, events that the thread
/// sends through no application belong to this one; afterwards to the enclosing one again.
/// Thread: the constructing one. Ownership: the manager is borrowed.
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
