#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "kr/application/context/random_stream.h"
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
/// number, the elapsed time, the frame rate and the waiting events. A run that continues from a restored snapshot is
/// equal to the first one, bit by bit, if content depends on nothing else. Not captured: see docs/simulation-states.md.
///
/// Thread: application, between two frames (KrApplication::executeBetweenFrames). Ownership: value; never changed.
class KR_API SimulationSnapshot {
public:
    /// Null, with a warning, while a frame is in progress. `recycled` may be a snapshot of the same application without
    /// another holder: its memory is reused.
    [[nodiscard]] static std::shared_ptr<const SimulationSnapshot> take(
        const KrSim::KrApplication& application, std::shared_ptr<const SimulationSnapshot> recycled = nullptr);
    /// Waiting events. Those of queued connections carry a value each.
    struct Events {
        KrSim::KrEventDispatcher::PendingEvents pending;
        /// By index; empty when no event carries one.
        std::vector<Kr::QueuedConnectionFunctor::Waiting> values;
    };

    /// For a state from elsewhere, such as a file.
    SimulationSnapshot(Kr::KrSmartPtr<KrSim::KrSimulationState> state, const KrSim::FramePosition& position,
                       std::optional<KrSim::RandomPositions> random, Events events);
    SimulationSnapshot(const SimulationSnapshot&) = delete;
    SimulationSnapshot& operator=(const SimulationSnapshot&) = delete;
    ~SimulationSnapshot();

    /// Number of completed frames; also the number of the next frame.
    [[nodiscard]] std::uint64_t getFrame() const noexcept { return _position.frames; }
    [[nodiscard]] const KrSim::FramePosition& getPosition() const noexcept { return _position; }
    /// Seed and places of the random streams; without them a restore changes no stream. Valid as long as the snapshot.
    [[nodiscard]] const std::optional<KrSim::RandomPositions>& getRandom() const noexcept { return _random; }
    /// Valid as long as the snapshot.
    [[nodiscard]] const KrSim::KrSimulationState& getState() const noexcept { return *_state; }
    [[nodiscard]] const Events& getEvents() const noexcept { return _events; }  ///< Valid as long as the snapshot.
    /// Memory in bytes, approximately.
    [[nodiscard]] std::size_t getSizeBytes() const;

    /// Restores the state. Values are set without transfers over connections; observers of changed fields are notified.
    /// Content that was added since is unchanged, removed content stays removed: the report counts both. Refused while
    /// a frame is in progress. Waiting functions and events are run before: they belong to the run that ends. Throws
    /// std::bad_alloc; the application is unchanged then, except for these.
    RestoreReport restore(KrSim::KrApplication& application) const;

private:
    Kr::KrSmartPtr<KrSim::KrSimulationState> _state;
    KrSim::FramePosition _position;
    std::optional<KrSim::RandomPositions> _random;
    Events _events;
};

/// Restores the snapshot between two frames: immediately, or at the end of the frame in progress. Any thread. `done`
/// receives the result. False when the application has ended. Snapshot and application are kept alive until then.
KR_API bool restoreBetweenFrames(KrSim::KrApplication& application, std::shared_ptr<const SimulationSnapshot> snapshot,
                                 std::function<void(const RestoreReport&)> done = {});

}  // namespace KrPersistence
