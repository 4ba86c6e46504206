#pragma once

#include <cstdint>
#include <functional>

#include "kr/application/context/application_modes.h"
#include "kr/application/context/frame_statistics.h"
#include "kr/application/context/fwd.h"
#include "kr/events/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/thread_id.h"

namespace KrSim {

/// The handle of extensions on their application: where the frame is, in which mode, and the way to its thread.
///
/// A default-made handle stands for no application. One that outlives its application answers like that from then on,
/// so it may be kept for any time.
/// Thread: every operation on any thread; one handle is no safer than a plain pointer. A query is a plain load. On the
/// application's thread the answers hold still during a pass; another thread may get those of two frames.
class KR_API ApplicationContext {
public:
    /// No application.
    ApplicationContext() noexcept;
    /// For applications; null gives no application.
    explicit ApplicationContext(Kr::KrSmartPtr<ApplicationState> state) noexcept;
    ApplicationContext(const ApplicationContext& other) noexcept;
    ApplicationContext(ApplicationContext&& other) noexcept;
    ApplicationContext& operator=(const ApplicationContext& other) noexcept;
    ApplicationContext& operator=(ApplicationContext&& other) noexcept;
    ~ApplicationContext();

    /// Whether there is an application and it has not ended.
    [[nodiscard]] bool isValid() const noexcept;
    /// Whether both were made for the same application, or for none.
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
    /// Frames per second that the main loop keeps to in the paced modes.
    [[nodiscard]] double getSimulationFrameRate() const noexcept;
    /// The frame rate as it was asked for, outside the bounds perhaps.
    [[nodiscard]] double getRequestedFrameRate() const noexcept;
    /// Seconds: 1 / frame rate.
    [[nodiscard]] double getSimulationTimeStep() const noexcept;

    /// How the pace was kept, up to the beginning of this frame. All 0 without an application.
    [[nodiscard]] FrameStatistics getFrameStatistics() const noexcept;
    /// Whether frames go by without simulating anything. False without an application.
    [[nodiscard]] bool isPaused() const noexcept;

    // Thread and deferral

    /// The thread of the main loop; kNone before the first frame and without an application.
    [[nodiscard]] Kr::ThreadId getThread() const noexcept;
    [[nodiscard]] bool isApplicationThread() const noexcept;
    /// From the first frame until the main loop ends.
    [[nodiscard]] bool isRunning() const noexcept;
    /// During the three passes over the modules.
    [[nodiscard]] bool isUpdatingModules() const noexcept;
    /// Whether the content must not change now, but later: the application is running, and either it is updating its
    /// modules or the caller is on another thread; or it is not running, and another thread is changing the content.
    /// Never without an application.
    [[nodiscard]] bool isBusy() const noexcept;
    /// Queues a function for the application thread, which runs it between two passes, first in, first out. What a
    /// function queues waits for the next time. An exception is logged as a warning.
    ///
    /// \return  false when there is no application or the function is empty: nothing was queued, and nothing is run.
    ///          Objects outside an application are never busy, so callers that ask isBusy first never meet that.
    /// A function waits while no frames run. Those that still wait when the application ends are destroyed unrun, with
    /// a warning: the content that they know may be gone.
    bool executeLater(std::function<void()> function) const;

    // Services: good until the application ends. Threads of your own that use them stop before that.

    /// An InvalidEventManager when there is none.
    [[nodiscard]] EventManager& getEventManager() const noexcept;
    /// One without an event manager, whose listeners hear nothing, when there is none.
    [[nodiscard]] ErrorManager& getErrorManager() const noexcept;

private:
    friend struct detail::ContextAccess;

    Kr::KrSmartPtr<ApplicationState> _state;
};

}  // namespace KrSim
