#include "kr/persistence/states/snapshot_ring.h"

#include <algorithm>
#include <deque>
#include <new>
#include <string>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/application_access.h"
#include "kr/application/i_application_listener.h"
#include "kr/persistence/states/simulation_snapshot.h"

namespace KrPersistence {

using KrSim::detail::ApplicationAccess;

struct SnapshotRing::Store final : KrSim::IApplicationListener, std::enable_shared_from_this<Store> {
    struct Kept {
        Snapshot snapshot;
        std::size_t bytes;
    };

    Store(KrSim::KrApplication& itsApplication, const SnapshotRingOptions& itsOptions)
        : application(itsApplication), options(itsOptions) {
        options.maximumCount = std::max<std::size_t>(options.maximumCount, 1);
        options.framesApart = std::max<std::uint32_t>(options.framesApart, 1);
    }

    /// Runs it between two frames, unless the ring has been destroyed before.
    template <class Action>
    bool later(Action action) {
        return application.executeBetweenFrames([weak = weak_from_this(), action = std::move(action)] {
            if (const auto self = weak.lock()) action(*self);
        });
    }

    void onFrameEnded(KrSim::KrApplication*) override {
        const auto frames = ApplicationAccess::getFramePosition(application).frames;
        // Fewer than before: other code has restored an earlier state.
        if (frames == lastFrame || (frames > lastFrame && frames < nextFrame)) return;
        later([](Store& self) { self.record(); });
    }

    void record() {
        // One of the same frame is replaced; later ones belong to a run that has ended.
        const auto frames = ApplicationAccess::getFramePosition(application).frames;
        while (!kept.empty() && kept.back().snapshot->getFrame() >= frames)
            dropLast();
        Snapshot recycled;
        while (!kept.empty() && (kept.size() >= options.maximumCount || bytes > options.maximumBytes)) {
            bytes -= kept.front().bytes;
            recycled = std::move(kept.front().snapshot);
            kept.pop_front();
        }
        auto snapshot = SimulationSnapshot::take(application, std::move(recycled));
        if (!snapshot) return;
        lastFrame = snapshot->getFrame();
        nextFrame = lastFrame + options.framesApart;
        const auto size = options.maximumBytes == SnapshotRingOptions::kUnlimited ? 0 : snapshot->getSizeBytes();
        bytes += size;
        kept.push_back({std::move(snapshot), size});
        while (kept.size() > 1 && bytes > options.maximumBytes) {
            bytes -= kept.front().bytes;
            kept.pop_front();
        }
    }

    void dropLast() {
        bytes -= kept.back().bytes;
        kept.pop_back();
    }

    [[nodiscard]] Snapshot find(std::uint64_t frame) const {
        const auto behind =
            std::upper_bound(kept.begin(), kept.end(), frame,
                             [](std::uint64_t value, const Kept& each) { return value < each.snapshot->getFrame(); });
        return behind != kept.begin() ? std::prev(behind)->snapshot : nullptr;
    }

    RestoreReport rewindTo(std::uint64_t frame) {
        const auto snapshot = find(frame);
        RestoreReport report;
        if (!snapshot) {
            report.error = "no snapshot is as old as frame " + std::to_string(frame);
            return report;
        }
        try {
            report = snapshot->restore(application);
        } catch (const std::bad_alloc&) {
            report.error = "out of memory";
        }
        if (!report.isRestored) return report;
        while (!kept.empty() && kept.back().snapshot->getFrame() > snapshot->getFrame())
            dropLast();
        lastFrame = snapshot->getFrame();
        nextFrame = lastFrame + options.framesApart;
        return report;
    }

    KrSim::KrApplication& application;
    SnapshotRingOptions options;
    std::deque<Kept> kept;  // by frame
    std::size_t bytes{0};
    std::uint64_t lastFrame{0};
    std::uint64_t nextFrame{0};
    bool isRecording{false};
};

SnapshotRing::SnapshotRing(KrSim::KrApplication& application, const SnapshotRingOptions& options)
    : _store(std::make_shared<Store>(application, options)) {}

SnapshotRing::~SnapshotRing() {
    stopRecording();
}

void SnapshotRing::startRecording() {
    if (std::exchange(_store->isRecording, true)) return;
    _store->application.registerListener(_store.get());
}

void SnapshotRing::stopRecording() {
    if (std::exchange(_store->isRecording, false)) _store->application.unregisterListener(_store.get());
}

void SnapshotRing::record() {
    _store->later([](Store& store) { store.record(); });
}

std::size_t SnapshotRing::size() const {
    return _store->kept.size();
}

std::size_t SnapshotRing::getSizeBytes() const {
    std::size_t bytes = 0;
    for (const auto& each : _store->kept)
        bytes += each.snapshot->getSizeBytes();
    return bytes;
}

SnapshotRing::Snapshot SnapshotRing::find(std::uint64_t frame) const {
    return _store->find(frame);
}

SnapshotRing::Snapshot SnapshotRing::at(std::size_t index) const {
    return index < size() ? _store->kept[index].snapshot : nullptr;
}

void SnapshotRing::clear() {
    _store->kept.clear();
    _store->bytes = 0;
}

bool SnapshotRing::rewindTo(std::uint64_t frame, std::function<void(const RestoreReport&)> done) {
    return _store->later([frame, done = std::move(done)](Store& store) {
        const auto report = store.rewindTo(frame);
        if (done) done(report);
    });
}

}  // namespace KrPersistence
