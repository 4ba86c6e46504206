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

/// What an application shares with the handles on it (ApplicationContext): they read, the application writes.
///
/// Held by smart pointers only. The application calls _end() before it takes anything of itself down.
/// One gate decides, under one lock, whether a change of the content runs now or is queued: while the main loop runs,
/// on its thread only; while it does not, on the thread that asks, one thread at a time. What other threads ask
/// meanwhile is run by that thread, before it leaves the gate. Thread: any, but for _runDelayedFunctions and
/// _runBetweenFrames, which are for the application thread, and the setters, which are for the thread that drives the
/// application. _isRunning publishes: a thread that sees the main loop ended also sees all that it did.
class KR_API ApplicationState final : public Kr::KrRefCount {
public:
    /// A living application in editing mode, before its first frame; activation is tracked, the rate is 60 Hz.
    ApplicationState();
    ApplicationState(const ApplicationState&) = delete;
    ApplicationState& operator=(const ApplicationState&) = delete;
    ~ApplicationState() override;

    /// The state of no application; never destroyed.
    [[nodiscard]] static const ApplicationState& _none();

    // Set by the application

    void _setApplicationMode(eApplicationMode mode) noexcept { _mode.store(mode, kRelaxed); }
    void _setSyncMode(eSynchronizationMode mode) noexcept { _syncMode.store(mode, kRelaxed); }
    void _setCommunicationModel(eCommunicationModel model) noexcept { _communicationModel.store(model, kRelaxed); }
    void _trackActivation(bool track) noexcept { _isActivationTracked.store(track, kRelaxed); }
    void _setFrame(std::uint32_t frame, double elapsedSeconds) noexcept;
    void _setTimings(double secondsBetweenFrames, double updateSeconds, double waitSeconds) noexcept;
    void _setStatistics(const FrameStatistics& statistics) noexcept;
    /// \param pacedHz  what the loop keeps to, above 0; \param requestedHz  as asked for.
    void _setFrameRate(double pacedHz, double requestedHz) noexcept;
    /// The calling thread runs the application from now on. Waits until no other thread is inside the gate.
    void _enterLoop();
    /// The main loop ends: runs what waits, once, and the changes that other threads ask for meanwhile.
    void _leaveLoop();
    /// At the start of each frame, by hosts that have no gate to pass.
    void _setThread(Kr::ThreadId thread) noexcept { _thread.store(thread, kRelaxed); }
    /// True after _setThread at the first frame, false when the main loop ends.
    void _setRunning(bool running) noexcept { _running.store(running, std::memory_order_release); }
    void _setPaused(bool paused) noexcept { _paused.store(paused, kRelaxed); }
    void _setUpdatingModules(bool updating) noexcept { _updating.store(updating, kRelaxed); }
    void _setInFrame(bool inFrame) noexcept { _inFrame.store(inFrame, kRelaxed); }
    /// Null: the application has none.
    void _setEventQueue(detail::LocalQueue* queue) noexcept { _eventQueue.store(queue, std::memory_order_release); }
    /// Borrowed until _end(); null for none.
    void _setManagers(EventManager* eventManager, ErrorManager* errorManager) noexcept;

    /// Runs what was queued before the call, in order. A call from inside a delayed function does nothing.
    void _runDelayedFunctions();
    /// The same for the functions that wait for the time between two frames.
    void _runBetweenFrames();
    /// The application ends: from now on its handles answer like those of none. Functions that still wait are
    /// destroyed on this thread without being run; an application runs them once more when its main loop ends, while
    /// the content is alive.
    void _end();

    // Read by handles

    [[nodiscard]] bool _isAlive() const noexcept { return _alive.load(std::memory_order_acquire); }
    [[nodiscard]] eApplicationMode _getApplicationMode() const noexcept { return _mode.load(kRelaxed); }
    [[nodiscard]] eSynchronizationMode _getSyncMode() const noexcept { return _syncMode.load(kRelaxed); }
    [[nodiscard]] eCommunicationModel _getCommunicationModel() const noexcept {
        return _communicationModel.load(kRelaxed);
    }
    [[nodiscard]] bool _tracksActivation() const noexcept { return _isActivationTracked.load(kRelaxed); }
    [[nodiscard]] std::uint32_t _getFrame() const noexcept { return _frame.load(kRelaxed); }
    [[nodiscard]] double _getElapsedSeconds() const noexcept { return _elapsedSeconds.load(kRelaxed); }
    [[nodiscard]] double _getSecondsBetweenFrames() const noexcept { return _secondsBetweenFrames.load(kRelaxed); }
    [[nodiscard]] double _getUpdateSeconds() const noexcept { return _updateSeconds.load(kRelaxed); }
    [[nodiscard]] double _getWaitSeconds() const noexcept { return _waitSeconds.load(kRelaxed); }
    [[nodiscard]] double _getFrameRate() const noexcept { return _frameRateHz.load(kRelaxed); }
    [[nodiscard]] double _getRequestedFrameRate() const noexcept { return _requestedRateHz.load(kRelaxed); }
    [[nodiscard]] FrameStatistics _getStatistics() const noexcept;
    [[nodiscard]] Kr::ThreadId _getThread() const noexcept { return _thread.load(kRelaxed); }
    [[nodiscard]] bool _isRunning() const noexcept { return _running.load(std::memory_order_acquire); }
    [[nodiscard]] bool _isPaused() const noexcept { return _paused.load(kRelaxed); }
    [[nodiscard]] bool _isUpdatingModules() const noexcept { return _updating.load(kRelaxed); }
    [[nodiscard]] bool _isInFrame() const noexcept { return _inFrame.load(kRelaxed); }
    [[nodiscard]] bool _isBusy() const noexcept;
    [[nodiscard]] detail::LocalQueue* _getEventQueue() const noexcept {
        return _eventQueue.load(std::memory_order_acquire);
    }
    [[nodiscard]] EventManager* _getEventManager() const noexcept;
    [[nodiscard]] ErrorManager* _getErrorManager() const noexcept;
    bool _executeLater(std::function<void()>&& function);
    /// Runs it now, or when the frame has ended.
    bool _executeBetweenFrames(std::function<void()>&& function);

    // Changes of the content

    enum class eEntry {
        kRefused,  ///< not now: _queueChange
        kFree,     ///< now
        kHeld,     ///< now, and _leaveChange follows
    };
    [[nodiscard]] eEntry _enterChange();
    void _leaveChange();
    /// False when it may be made now; the function stays with the caller then.
    bool _queueChange(std::function<void()>&& function);

private:
    static constexpr std::memory_order kRelaxed = std::memory_order_relaxed;
    struct NoApplication {};

    explicit ApplicationState(NoApplication) noexcept;

    // Behind every answer about activation and deferral
    std::atomic<bool> _alive{true};
    std::atomic<bool> _running{false};
    std::atomic<bool> _updating{false};
    std::atomic<bool> _inFrame{false};
    std::atomic<bool> _paused{false};
    std::atomic<bool> _isActivationTracked{true};
    std::atomic<Kr::ThreadId> _thread{Kr::ThreadId::kNone};

    std::atomic<eApplicationMode> _mode{eApplicationMode::kEditing};
    std::atomic<eSynchronizationMode> _syncMode{eSynchronizationMode::kSyncOff};
    std::atomic<eCommunicationModel> _communicationModel{eCommunicationModel::kMaster};
    std::atomic<std::uint32_t> _frame{0};
    std::atomic<double> _elapsedSeconds{0.0};
    std::atomic<double> _secondsBetweenFrames{0.0};
    std::atomic<double> _updateSeconds{0.0};
    std::atomic<double> _waitSeconds{0.0};
    std::atomic<double> _frameRateHz{60.0};
    std::atomic<double> _requestedRateHz{60.0};
    std::array<std::atomic<std::uint64_t>, sizeof(FrameStatistics) / sizeof(std::uint64_t)> _statistics{};
    std::atomic<EventManager*> _eventManager{nullptr};
    std::atomic<ErrorManager*> _errorManager{nullptr};
    std::atomic<detail::LocalQueue*> _eventQueue{nullptr};
    std::unique_ptr<detail::ChangeGate> _gate;  // null for no application, as the next two
    std::unique_ptr<detail::DelayedFunctions> _delayed;
    std::unique_ptr<detail::DelayedFunctions> _betweenFrames;
};

}  // namespace KrSim
