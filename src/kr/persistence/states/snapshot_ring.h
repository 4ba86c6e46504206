#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>

#include "kr/application/fwd.h"
#include "kr/persistence/states/restore_report.h"
#include "kr/platform/export.h"

namespace KrPersistence {

class SimulationSnapshot;

struct SnapshotRingOptions {
    static constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();

    std::size_t maximumCount{600};
    /// Of all snapshots together, approximately; the newest one is always kept.
    std::size_t maximumBytes{kUnlimited};
    /// While recording: number of frames between two snapshots.
    std::uint32_t framesApart{1};
};

/// The last snapshots of a running application, for rewinding: at the limits a new snapshot replaces the oldest ones.
///
///     KrPersistence::SnapshotRing ring(*application, {.maximumCount = 100, .framesApart = 10});
///     ring.startRecording();
///     application->run();          // elsewhere, meanwhile: ring.rewindTo(frame)
///
/// Thread: application; rewindTo on any.
/// Ownership: the application is borrowed and outlives the ring.
class KR_API SnapshotRing {
public:
    using Snapshot = std::shared_ptr<const SimulationSnapshot>;

    explicit SnapshotRing(KrSim::KrApplication& application, const SnapshotRingOptions& options = {});
    SnapshotRing(const SnapshotRing&) = delete;
    SnapshotRing& operator=(const SnapshotRing&) = delete;
    ~SnapshotRing();

    /// Takes snapshots at the ends of frames, from the frame in progress or the next one on, without paused frames.
    void startRecording();
    void stopRecording();  ///< Taken snapshots are kept.
    /// Takes one immediately, or at the end of the frame in progress.
    void record();

    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] std::size_t getSizeBytes() const;  ///< Memory of all snapshots, approximately.
    /// The newest snapshot from before this frame, or null.
    [[nodiscard]] Snapshot find(std::uint64_t frame) const;
    /// By age, the oldest first; null past the end.
    [[nodiscard]] Snapshot at(std::size_t index) const;
    void clear();

    /// Restores find(frame) between two frames, immediately or at the end of the frame in progress, and drops newer
    /// snapshots: they belong to a run that ends there. `done` receives the result: an error, with nothing dropped,
    /// when no snapshot is old enough or memory runs out. False when the application has ended.
    bool rewindTo(std::uint64_t frame, std::function<void(const RestoreReport&)> done = {});

private:
    struct Store;
    std::shared_ptr<Store> _store;  // of functions that wait for the end of a frame, too
};

}  // namespace KrPersistence
