#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "kr/application/context/application_modes.h"
#include "kr/application/context/frame_statistics.h"
#include "kr/application/context/fwd.h"
#include "kr/application/context/random_stream.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/thread_id.h"

namespace KrSim {

/// The handle through which extensions use their application: frame, mode, and access to its thread.
///
/// A default-constructed handle refers to no application. A handle that outlives its application behaves like one of no
/// application, so it may be kept for any time.
/// Thread: any for every operation; one handle as a plain pointer. A query is a plain load. On the application's thread
/// values do not change during a pass; another thread may get values of two frames.
/// Ownership: shares the state of the application, but does not keep the application alive.
class KR_API ApplicationContext {
public:
    /// No application.
    ApplicationContext() noexcept;
    /// For applications; null is no application.
    explicit ApplicationContext(Kr::KrSmartPtr<ApplicationState> state) noexcept;
    ApplicationContext(const ApplicationContext& other) noexcept;
    ApplicationContext(ApplicationContext&& other) noexcept;
    ApplicationContext& operator=(const ApplicationContext& other) noexcept;
    ApplicationContext& operator=(ApplicationContext&& other) noexcept;
    ~ApplicationContext();

    /// Whether it refers to an application that has not ended.
    [[nodiscard]] bool isValid() const noexcept;
    /// Whether both refer to the same application, or to none.
    friend bool operator==(const ApplicationContext& left, const ApplicationContext& right) noexcept {
        return left._state == right._state;
    }

    // Modes

    /// kEditing without an application.
    [[nodiscard]] eApplicationMode getApplicationMode() const noexcept;
    /// kSyncOff without an application.
    [[nodiscard]] eSynchronizationMode getSyncMode() const noexcept;
    /// kMaster without an application.
    [[nodiscard]] eCommunicationModel getCommunicationModel() const noexcept;
    /// Whether extensions are active only while a module manages them. False without an application.
    [[nodiscard]] bool isActivationTracked() const noexcept;

    // Frame and times: 0 without an application

    /// Number of the frame; 0 during the first one.
    [[nodiscard]] std::uint32_t getFrame() const noexcept;
    /// Seconds from the start of the application to the start of the frame.
    [[nodiscard]] double getElapsedSeconds() const noexcept;
    /// Seconds between the starts of this frame and the previous one.
    [[nodiscard]] double getSecondsBetweenFrames() const noexcept;
    /// Seconds that the previous frame took, without its waiting.
    [[nodiscard]] double getUpdateSeconds() const noexcept;
    /// Seconds that this frame waited for its start.
    [[nodiscard]] double getWaitSeconds() const noexcept;
    /// Frames per second of the main loop in the paced modes.
    [[nodiscard]] double getSimulationFrameRate() const noexcept;
    /// The frame rate before clamping.
    [[nodiscard]] double getRequestedFrameRate() const noexcept;
    /// Seconds: 1 / frame rate.
    [[nodiscard]] double getSimulationTimeStep() const noexcept;

    // Simulated time: 0 without an application

    /// Simulated seconds at the beginning of the frame; in a sub-step of a module at the beginning of that. It is the
    /// sum at the last change of the frame rate plus ticks * step, so it has no rounding of many additions, and it is
    /// the same in each run. It does not advance while the application is paused; snapshots restore it.
    [[nodiscard]] double getSimulatedSeconds() const noexcept;
    /// Number of frames since the last change of the frame rate, 0 in the first one.
    [[nodiscard]] std::uint64_t getTicks() const noexcept;
    /// Seconds that the frame simulates; in a sub-step those of the sub-step. A change of the frame rate during a frame
    /// takes effect in the next one, unlike getSimulationTimeStep.
    [[nodiscard]] double getStepSeconds() const noexcept;
    /// Seconds since 1970-01-01 UTC by the clock of the system, now: it may jump, and differs in each run. Simulated
    /// content that depends on it cannot be repeated.
    [[nodiscard]] static double getWallClockSeconds() noexcept;

    // Random numbers

    /// The stream of random numbers of this name; see RandomStream. Takes a lock: keep the stream, do not ask in each
    /// step.
    [[nodiscard]] RandomStream getRandomStream(std::string_view name) const;
    /// See KrApplication::setRandomSeed. 0 without an application.
    [[nodiscard]] std::uint32_t getRandomSeed() const;

    /// How the frame rate was kept, up to the beginning of this frame. All 0 without an application.
    [[nodiscard]] FrameStatistics getFrameStatistics() const noexcept;
    /// Whether frames run without simulating. False without an application.
    [[nodiscard]] bool isPaused() const noexcept;

    // Thread and deferral

    /// The thread of the main loop; kNone before the first frame and without an application.
    [[nodiscard]] Kr::ThreadId getThread() const noexcept;
    [[nodiscard]] bool isApplicationThread() const noexcept;  ///< Whether the calling thread is getThread().
    /// From the first frame until the main loop ends.
    [[nodiscard]] bool isRunning() const noexcept;
    /// During the three passes over the modules.
    [[nodiscard]] bool isUpdatingModules() const noexcept;
    /// Whether changes of the content are deferred now: the application is running, and either it is updating its
    /// modules or the caller is on another thread; or it is not running, and another thread is changing the content.
    /// False without an application.
    [[nodiscard]] bool isBusy() const noexcept;
    /// Queues a function for the application thread, which runs it between two passes, in the order of the calls.
    /// Functions queued by such a function wait for the next time. An exception is logged as a warning.
    ///
    /// \return  false without an application and for an empty function: nothing was queued. Objects outside an
    ///          application are never busy, so callers that test isBusy first need not check it.
    /// A function waits while no frames run. Functions that still wait when the application ends are destroyed without
    /// a call, with a warning: their content may not exist any more.
    bool executeLater(std::function<void()> function) const;

    // Services: valid until the application ends. Stop your own threads that use them before that.

    /// An InvalidEventManager without an application.
    [[nodiscard]] EventManager& getEventManager() const noexcept;
    /// Without an application one without an event manager, whose listeners are never called.
    [[nodiscard]] ErrorManager& getErrorManager() const noexcept;

private:
    friend struct detail::ContextAccess;

    Kr::KrSmartPtr<ApplicationState> _state;
};

}  // namespace KrSim
