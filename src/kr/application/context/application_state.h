#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "kr/application/context/application_modes.h"
#include "kr/application/context/frame_statistics.h"
#include "kr/application/context/fwd.h"
#include "kr/application/context/random_streams.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/thread_id.h"

namespace KrSim {

namespace detail {
class DelayedFunctions;
struct ChangeGate;
}  // namespace detail

/// A value that the application writes and any thread reads. Several values are not read at one moment.
template <class T, std::memory_order reading = std::memory_order_relaxed,
          std::memory_order writing = std::memory_order_relaxed>
class SharedValue {
public:
    SharedValue(T value) noexcept : _value(value) {}  // NOLINT(google-explicit-constructor): stands for the value
    SharedValue(const SharedValue&) = delete;
    SharedValue& operator=(const SharedValue&) = delete;
    ~SharedValue() = default;

    T operator=(T value) noexcept {  // NOLINT(misc-unconventional-assign-operator): as std::atomic has it
        _value.store(value, writing);
        return value;
    }
    operator T() const noexcept { return _value.load(reading); }  // NOLINT(google-explicit-constructor)

private:
    std::atomic<T> _value;
};

/// The same; a thread that reads it also sees all earlier writes of the writer.
template <class T>
using PublishedValue = SharedValue<T, std::memory_order_acquire, std::memory_order_release>;

/// The state that an application shares with its handles (ApplicationContext): it writes, they read.
///
/// Held by smart pointers only. The application calls end() before it destroys its parts.
/// One gate decides, under one lock, whether a change of the content runs now or is queued: while the main loop runs,
/// on its thread only; otherwise on the calling thread, one thread at a time. That thread runs the changes that other
/// threads request meanwhile before it leaves the gate.
/// Thread: any, except runDelayedFunctions and runBetweenFrames, which are for the application thread. The values are
/// written by the thread that drives the application.
/// Ownership: shared.
struct KR_API ApplicationState final : Kr::KrRefCount {
    /// A living application in editing mode, before its first frame; activation is tracked, the rate is 60 Hz.
    ApplicationState();
    ApplicationState(const ApplicationState&) = delete;
    ApplicationState& operator=(const ApplicationState&) = delete;
    ~ApplicationState() override;

    /// The state of no application; never destroyed.
    [[nodiscard]] static const ApplicationState& none();

    void setStatistics(const FrameStatistics& statistics) noexcept;
    [[nodiscard]] FrameStatistics getStatistics() const noexcept;
    [[nodiscard]] bool isBusy() const noexcept;

    // The main loop

    /// The calling thread runs the application from now on. Waits until no other thread is inside the gate.
    void enterLoop();
    /// The main loop ends: runs the waiting functions once, and the changes that other threads request meanwhile.
    void leaveLoop();
    /// The application ends: its handles behave like those of no application from now on. Waiting functions are
    /// destroyed on this thread without a call; an application runs them once more when its main loop ends, while the
    /// content is alive.
    void end();

    // Functions that wait

    bool executeLater(std::function<void()>&& function);
    /// Runs it immediately, or at the end of the frame.
    bool executeBetweenFrames(std::function<void()>&& function);
    /// Runs what was queued before the call, in order. A call from inside a delayed function does nothing.
    void runDelayedFunctions();
    /// The same for the functions that wait for the time between two frames.
    void runBetweenFrames();

    // Changes of the content

    enum class eEntry {
        kRefused,  ///< not now: queueChange
        kFree,     ///< not now: call queueChange
        kHeld,     ///< immediately
    };
    [[nodiscard]] eEntry enterChange();
    void leaveChange();
    /// False when the change may be made immediately; the caller keeps the function then.
    bool queueChange(std::function<void()>&& function);

    // Used by all queries about activation and deferral
    PublishedValue<bool> isAlive{true};
    /// True after `thread` at the first frame, false when the main loop ends. A thread that sees the main loop ended
    /// also sees all that it did.
    PublishedValue<bool> isRunning{false};
    SharedValue<bool> isUpdatingModules{false};
    SharedValue<bool> isInFrame{false};
    SharedValue<bool> isPaused{false};
    SharedValue<bool> isActivationTracked{true};
    SharedValue<Kr::ThreadId> thread{Kr::ThreadId::kNone};

    SharedValue<eApplicationMode> mode{eApplicationMode::kEditing};
    SharedValue<eSynchronizationMode> syncMode{eSynchronizationMode::kSyncOff};
    SharedValue<eCommunicationModel> communicationModel{eCommunicationModel::kMaster};
    SharedValue<std::uint32_t> frame{0};
    SharedValue<double> elapsedSeconds{0.0};
    SharedValue<double> secondsBetweenFrames{0.0};
    SharedValue<double> updateSeconds{0.0};
    SharedValue<double> waitSeconds{0.0};
    SharedValue<double> simulatedSeconds{0.0};  ///< at the beginning of the frame, or of the sub-step
    SharedValue<std::uint64_t> ticks{0};        ///< frames since the last change of the step
    SharedValue<double> stepSeconds{0.0};       ///< of the frame, or of the sub-step; 0 before the first frame
    SharedValue<double> frameRateHz{60.0};      ///< of the main loop, above 0
    SharedValue<double> requestedRateHz{60.0};  ///< before clamping
    // Borrowed until end(); null for none
    PublishedValue<EventManager*> eventManager{nullptr};
    PublishedValue<ErrorManager*> errorManager{nullptr};
    PublishedValue<detail::LocalQueue*> eventQueue{nullptr};
    PublishedValue<Kr::StepBoundary*> stepBoundary{nullptr};

    RandomStreams random;

private:
    struct NoApplication {};

    explicit ApplicationState(NoApplication) noexcept;

    std::array<std::atomic<std::uint64_t>, sizeof(FrameStatistics) / sizeof(std::uint64_t)> _statistics{};
    std::unique_ptr<detail::ChangeGate> _gate;  // null for no application, as the next two
    std::unique_ptr<detail::DelayedFunctions> _delayed;
    std::unique_ptr<detail::DelayedFunctions> _betweenFrames;
};

}  // namespace KrSim
