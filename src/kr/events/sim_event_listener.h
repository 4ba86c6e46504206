#pragma once

#include <map>

#include "kr/events/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

namespace detail {
class ListenerTable;
}  // namespace detail

/// Receives the events for whose numbers it is registered at the dispatcher.
///
/// A listener that dies is unregistered for all numbers, and a delivery in progress on the same thread skips it. A
/// delivery on another thread may still call it: end that delivery first, or let the owner thread destroy listeners of
/// queued events.
/// Thread: see onSimEvent. Ownership: borrowed by the dispatcher.
class KR_API KrSimEventListener {
public:
    KrSimEventListener() = default;
    KrSimEventListener(const KrSimEventListener&) = delete;
    KrSimEventListener& operator=(const KrSimEventListener&) = delete;
    virtual ~KrSimEventListener();

    /// Called on the owner thread for queued events, on the sending thread for immediate ones. The event is valid
    /// during the call; copy it to keep it. An exception reaches the sender, after all other listeners were called.
    virtual void onSimEvent(const KrSimEvent& event) = 0;

private:
    friend class detail::ListenerTable;
    // By number; under the lock of the table. Some may have ended.
    std::multimap<int, Kr::KrSmartPtr<Kr::KrRefCount>> _registrations;
};

}  // namespace KrSim
