#pragma once

#include <vector>

#include "kr/events/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

namespace detail {
class ListenerTable;
}  // namespace detail

/// Receives the events for whose numbers it is registered at the dispatcher.
///
/// A listener that dies is unregistered everywhere, and a delivery under way on the same thread passes over it. Nothing
/// stops a delivery on another thread: end that first, or let the owner thread destroy listeners of queued events.
class KR_API KrSimEventListener {
public:
    KrSimEventListener() = default;
    KrSimEventListener(const KrSimEventListener&) = delete;
    KrSimEventListener& operator=(const KrSimEventListener&) = delete;
    virtual ~KrSimEventListener();

    /// Called on the owner thread for queued events, on the sending thread for immediate ones. The event is good during
    /// the call; copy it to keep it. An exception reaches the sender, after every other listener was called.
    virtual void onSimEvent(const KrSimEvent& event) = 0;

private:
    friend class detail::ListenerTable;
    std::vector<int> _ids;       // for which it is registered; under the lock of the table
    bool _wasRegistered{false};  // the same, but for its own destructor
};

}  // namespace KrSim
