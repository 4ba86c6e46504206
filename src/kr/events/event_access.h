#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_id_list.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/fwd.h"
#include "kr/events/sim_event.h"
#include "kr/platform/clock.h"
#include "kr/platform/export.h"

namespace KrSim::detail {

// What the framework itself does with the classes of events.

/// Of the dispatcher. Thread: any. Ownership: pointers are borrowed.
struct KR_API DispatcherAccess {
    /// Those of the application with this manager, and those of no application while no other application runs. Null:
    /// those of the application that this thread runs, else those of no application and of all on this thread.
    [[nodiscard]] static KrEventDispatcher::PendingEvents getPendingEvents(
        const EventManagerImplementation* manager = nullptr);
    /// Replaces the delayed events of the same queues by these, each due after the same remaining time. Events with
    /// blocking senders stay. Returns the previous ones. Throws std::bad_alloc, and changes nothing then.
    static std::vector<PendingEvent> replaceDelayedEvents(KrEventDispatcher::PendingEvents&& pending,
                                                          const EventManagerImplementation* manager = nullptr);
    /// Removes and returns one of the delayed events of these queues sent since the last replacement, or nothing.
    [[nodiscard]] static std::optional<PendingEvent> takeDelayedSince(
        const EventManagerImplementation* manager) noexcept;
    /// Delivers the queued events of these queues, as preUpdate does, but no delayed events. Allocates nothing itself.
    static void deliverQueuedEvents(const EventManagerImplementation* manager = nullptr);
    /// Queues all local event names and publishes the first ones: a new application knows none.
    static void publishEventNames();
    /// The common queue has no owner until the next thread processes it. Its blocking senders are released and their
    /// events dropped, since these may point to data that the senders now destroy; other events stay.
    static void resetOwner();
    /// The send used by the event managers; null is the queue of an event that is sent through no application.
    static void sendEvent(const KrSimEvent& event, eEventRoute local, eEventRoute remote, LocalQueue* queue);
    /// A message of the log, locally. See EventManagerAccess::publish.
    static void sendMessage(const KrSimEvent& event, LocalQueue* queue);
    /// Sends a value for a field, locally: through the queue of the field's application, null for none.
    /// \param isAtHome  the thread made the connection: while no application runs the field, the value arrives before
    ///                  the send returns, whichever thread owns the queue.
    static void sendValue(const KrSimEvent& event, LocalQueue* queue, bool isAtHome);
    /// Whether the queue belongs to an application that another thread runs.
    [[nodiscard]] static bool runsElsewhere(const LocalQueue* queue) noexcept;
    /// Whether this thread is inside run or update of an application.
    [[nodiscard]] static bool isInFrame() noexcept;
    /// Seconds that a blocking sender waits, besides the delay of its event, before it logs the warning.
    static void setPatience(double seconds);
    /// The clock of delays; null is the steady clock. Borrowed. The remaining time of a running delay does not change.
    static void setClock(const Kr::IClock* clock);
};

/// Of the one list of names. Thread: any.
struct KR_API EventNamesAccess {
    /// Queues every local name that does not wait already: a new application knows none of them.
    static void publishAllAgain();
    /// Removes at most EventIDList::kNamesPerStep names from the front of the queue and returns them as the payload
    /// that other applications read: a 4-byte count, then each name as a 4-byte length and its bytes. Empty when no
    /// name waits.
    [[nodiscard]] static std::vector<std::uint8_t> takeNamesToPublish();
    /// Keeps the names of such a payload. A malformed payload logs a warning; names before the fault are kept.
    static void learnNames(const std::uint8_t* bytes, std::size_t size, const std::string& sender);
};

/// Of an event manager. Thread: any, where nothing else is said.
struct KR_API EventManagerAccess {
    /// For messages of the log: as sendEventLocally, but delivered by a running application if there is one, preferably
    /// that of this thread. A thread that only logs does not become the owner of a queue of an application.
    static void publish(EventManagerImplementation& manager, const EventId& id, const EventData& data);
    /// Nothing without a manager.
    static void publish(EventManagerInternal& manager, const EventId& id, const EventData& data);

    // For the application that owns the manager

    /// The main loop has ended: blocking senders are released.
    static void stopRunning(EventManagerImplementation& manager);
    /// The application is about to be destroyed on this thread: callbacks run only here from now on. Returns when no
    /// other thread is inside a callback.
    static void beginEnd(EventManagerImplementation& manager);
    [[nodiscard]] static LocalQueue* getQueue(const EventManagerImplementation& manager) noexcept {
        return manager._getQueue();
    }
};

/// Of an event. Thread: as for the event.
struct KR_API SimEventAccess {
    /// Whether a done signal is expected.
    [[nodiscard]] static bool isAwaited(const KrSimEvent& event) noexcept { return event._done != nullptr; }
    /// Whether a done signal is expected that was neither raised nor dropped.
    [[nodiscard]] static bool isDonePending(const KrSimEvent& event);
    /// Whether it was sent through the event manager of an application: then it is dropped when the application ends.
    [[nodiscard]] static bool isOfApplication(const KrSimEvent& event) noexcept { return event._ofApplication; }
    static void setOfApplication(KrSimEvent& event) noexcept { event._ofApplication = true; }
};

/// Of a payload; event_data.h says what each does. Thread: none.
struct EventDataAccess {
    static void setBytes(EventData& data, const std::uint8_t* bytes, std::size_t count) {
        data._setBytes(bytes, count);
    }
    template <class T>
    static void write(EventData& data, const T& value) {
        data._write(value);
    }
    template <class T>
    static bool read(const EventData& data, T& value) {
        return data._read(value);
    }
    static void writeText(EventData& data, const char* text, std::size_t length) { data._writeText(text, length); }
    static bool readWholeText(const EventData& data, std::string& text) { return data._readWholeText(text); }
    static void readMatrix(const EventData& data, KrMath::Matrix44T<double>& matrix) { data._readMatrix(matrix); }
    static std::size_t unread(const EventData& data) noexcept { return data._unread(); }
    static void rewind(const EventData& data) noexcept { data._rewind(); }
};

}  // namespace KrSim::detail
