#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "kr/application/context/application_modes.h"
#include "kr/application/context/frame_statistics.h"
#include "kr/application/context/fwd.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/thread_id.h"

namespace KrSim {

namespace detail {
class DelayedFunctions;
struct ChangeGate;
}  // namespace detail

/// A value that the application writes while any thread reads it. Several values are not read at one moment.
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

/// The same; a thread that reads it also sees what the writer did before.
template <class T>
using PublishedValue = SharedValue<T, std::memory_order_acquire, std::memory_order_release>;

/// What an application shares with the handles on it (ApplicationContext): it writes, they read.
///
/// Held by smart pointers only. The application calls end() before it takes anything of itself down.
/// One gate decides, under one lock, whether a change of the content runs now or is queued: while the main loop runs,
/// on its thread only; while it does not, on the thread that asks, one thread at a time. What other threads ask
/// meanwhile is run by that thread, before it leaves the gate.
/// Thread: any, but for runDelayedFunctions and runBetweenFrames, which are for the application thread. The values are
/// written by the thread that drives the application.
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
    /// The main loop ends: runs what waits, once, and the changes that other threads ask for meanwhile.
    void leaveLoop();
    /// The application ends: from now on its handles answer like those of none. Functions that still wait are
    /// destroyed on this thread without being run; an application runs them once more when its main loop ends, while
    /// the content is alive.
    void end();

    // Functions that wait

    bool executeLater(std::function<void()>&& function);
    /// Runs it now, or when the frame has ended.
    bool executeBetweenFrames(std::function<void()>&& function);
    /// Runs what was queued before the call, in order. A call from inside a delayed function does nothing.
    void runDelayedFunctions();
    /// The same for the functions that wait for the time between two frames.
    void runBetweenFrames();

    // Changes of the content

    enum class eEntry {
        kRefused,  ///< not now: queueChange
        kFree,     ///< now
        kHeld,     ///< now, and leaveChange follows
    };
    [[nodiscard]] eEntry enterChange();
    void leaveChange();
    /// False when it may be made now; the function stays with the caller then.
    bool queueChange(std::function<void()>&& function);

    // Behind every answer about activation and deferral
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
    SharedValue<double> frameRateHz{60.0};      ///< what the loop keeps to, above 0
    SharedValue<double> requestedRateHz{60.0};  ///< as asked for
    // Borrowed until end(); null for none
    PublishedValue<EventManager*> eventManager{nullptr};
    PublishedValue<ErrorManager*> errorManager{nullptr};
    PublishedValue<detail::LocalQueue*> eventQueue{nullptr};

private:
    struct NoApplication {};

    explicit ApplicationState(NoApplication) noexcept;

    std::array<std::atomic<std::uint64_t>, sizeof(FrameStatistics) / sizeof(std::uint64_t)> _statistics{};
    std::unique_ptr<detail::ChangeGate> _gate;  // null for no application, as the next two
    std::unique_ptr<detail::DelayedFunctions> _delayed;
    std::unique_ptr<detail::DelayedFunctions> _betweenFrames;
};

}  // namespace KrSim
