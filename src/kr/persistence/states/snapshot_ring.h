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
    /// Of all snapshots together, about; the newest one is kept in any case.
    std::size_t maximumBytes{kUnlimited};
    /// While recording: after how many frames the next snapshot is taken.
    std::uint32_t framesApart{1};
};

/// The last snapshots of a running application, for rewinding: the oldest one goes when a new one finds no room.
///
///     KrPersistence::SnapshotRing ring(*application, {.maximumCount = 100, .framesApart = 10});
///     ring.startRecording();
///     application->run();          // elsewhere, meanwhile: ring.rewindTo(frame)
///
/// Thread: the application thread; rewindTo on any.
/// Ownership: the application is borrowed and outlives the ring.
class KR_API SnapshotRing {
public:
    using Snapshot = std::shared_ptr<const SimulationSnapshot>;

    explicit SnapshotRing(KrSim::KrApplication& application, const SnapshotRingOptions& options = {});
    SnapshotRing(const SnapshotRing&) = delete;
    SnapshotRing& operator=(const SnapshotRing&) = delete;
    ~SnapshotRing();

    /// Takes snapshots at the ends of frames, beginning with the one under way or the next one. Paused frames count for
    /// nothing.
    void startRecording();
    void stopRecording();
    /// Takes one now, or when the frame under way has ended.
    void record();

    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] std::size_t getSizeBytes() const;
    /// The newest one that was taken before this frame began, or null.
    [[nodiscard]] Snapshot find(std::uint64_t frame) const;
    /// From the oldest on; null past the end.
    [[nodiscard]] Snapshot at(std::size_t index) const;
    void clear();

    /// Restores find(frame) between two frames, now or when the frame under way has ended, and drops the newer ones:
    /// they belong to a run that ends there. `done` gets the outcome: an error when no snapshot is as old.
    /// False when the application has ended.
    bool rewindTo(std::uint64_t frame, std::function<void(const RestoreReport&)> done = {});

private:
    struct Store;
    std::shared_ptr<Store> _store;  // of functions that wait for the end of a frame, too
};

}  // namespace KrPersistence
