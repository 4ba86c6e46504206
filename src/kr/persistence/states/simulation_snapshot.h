#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "kr/application/frame_position.h"
#include "kr/application/fwd.h"
#include "kr/core/connections/queued_connection_functor.h"
#include "kr/events/event_dispatcher.h"
#include "kr/extension/extension_state.h"
#include "kr/persistence/states/restore_report.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrPersistence {

/// Everything that the next frame of an application depends on, in memory: the states of content and modules, the frame
/// number, the elapsed time, the frame rate and the events that wait. A run that goes on from a restored snapshot is
/// equal to the first one, bit by bit, as far as content depends on nothing else; docs/simulation-states.md tells what
/// is not captured.
///
/// Thread: the application thread, between two frames (KrApplication::executeBetweenFrames).
class KR_API SimulationSnapshot {
public:
    /// Null, with a warning, while a frame is under way. `recycled` may be a snapshot of the same application that
    /// has no other holder: its memory is used again.
    [[nodiscard]] static std::shared_ptr<const SimulationSnapshot> take(
        const KrSim::KrApplication& application, std::shared_ptr<const SimulationSnapshot> recycled = nullptr);
    /// Events that wait. Those of queued connections carry a value each.
    struct Events {
        KrSim::KrEventDispatcher::PendingEvents pending;
        /// By index; empty where no event carries one.
        std::vector<Kr::QueuedConnectionFunctor::Waiting> values;
    };

    /// A state that was kept elsewhere.
    SimulationSnapshot(Kr::KrSmartPtr<KrSim::KrSimulationState> state, const KrSim::FramePosition& position,
                       Events events);
    SimulationSnapshot(const SimulationSnapshot&) = delete;
    SimulationSnapshot& operator=(const SimulationSnapshot&) = delete;
    ~SimulationSnapshot();

    /// How many frames had ended; the number of the frame that follows.
    [[nodiscard]] std::uint64_t getFrame() const noexcept { return _position.frames; }
    [[nodiscard]] const KrSim::FramePosition& getPosition() const noexcept { return _position; }
    [[nodiscard]] const KrSim::KrSimulationState& getState() const noexcept { return *_state; }
    [[nodiscard]] const Events& getEvents() const noexcept { return _events; }
    /// Memory that it takes, about.
    [[nodiscard]] std::size_t getSizeBytes() const;

    /// Puts everything back. Values go to their fields as they were, without transfers over connections; observers hear
    /// of those that differ. Content that came since stays as it is, content that went stays away: the report counts
    /// both. Refused while a frame is under way.
    /// Functions and events that wait are run before: they belong to the run that ends here.
    /// Throws std::bad_alloc, and then the application is as it was, but for these.
    RestoreReport restore(KrSim::KrApplication& application) const;

private:
    Kr::KrSmartPtr<KrSim::KrSimulationState> _state;
    KrSim::FramePosition _position;
    Events _events;
};

/// Restores the snapshot between two frames: now, or when the frame under way has ended. Any thread. `done` gets the
/// outcome. False when the application has ended. Snapshot and application live until then.
KR_API bool restoreBetweenFrames(KrSim::KrApplication& application, std::shared_ptr<const SimulationSnapshot> snapshot,
                                 std::function<void(const RestoreReport&)> done = {});

}  // namespace KrPersistence
