#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>

#include "kr/application/context/application_context.h"
#include "kr/application/context/application_modes.h"
#include "kr/application/frame_position.h"
#include "kr/application/fwd.h"
#include "kr/core/base.h"
#include "kr/events/event_id.h"
#include "kr/extension/fwd.h"
#include "kr/extension/smart_interface.h"
#include "kr/platform/clock.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/delegate_connection.h"

namespace KrSim {

/// The limits of KrApplication::run: it ends with the first limit that is reached.
struct RunLimits {
    static constexpr std::uint64_t kEndless = std::numeric_limits<std::uint64_t>::max();

    std::uint64_t frames{kEndless};
    /// Simulated time, the sum of the time steps, rounded to whole frames.
    double seconds{std::numeric_limits<double>::infinity()};
};

/// The host of one running simulation: holds modules and content, and steps the modules frame after frame.
///
///     const auto application = KrSim::KrApplication::create();
///     application->insertModule(module);
///     application->add(car);
///     application->run({.seconds = 10.0});
///
/// A frame step by step: docs/frame.md.
///
/// Thread: the thread that calls run or update is the application's thread during the call. All operations are for that
/// thread, or for any one thread while the application is not running; those marked "any thread" may be called from
/// others too. During the passes, and from other threads, changes of content and modules are deferred (docs/frame.md).
/// Ownership: holds modules and content until they are removed, and removes both when it is destroyed; its context then
/// behaves like that of no application.
class KR_API KrApplication final : public Kr::KrBase, public Kr::KrRefCount {
    KR_BASE_CLASS(KrApplication, Kr::KrBase)

    /// The applications that exit.
    enum class eExitRequestMode : std::int32_t {
        kThis,    ///< this application
        kAll,     ///< all applications of the simulation
        kOthers,  ///< all but those of this process
    };

    static const EventId kStopApplicationEvent;        ///< an application that receives it exits
    static const EventId kStopOtherApplicationsEvent;  ///< likewise; sent to other processes only
    static const EventId kNewNetworkApplicationAddedEvent;

    /// An application with default settings, without modules and content: paced by the clock at 60 Hz, in editing mode.
    /// Log messages are published through the event manager of the newest living application, and errors that are
    /// logged throw at the code that logs: KrErrorHandler is installed, unless the host has installed its own log
    /// handler. The clock is borrowed. Events of the application are delivered on the calling thread until the
    /// application runs.
    [[nodiscard]] static Kr::KrSmartPtr<KrApplication> create(Kr::IClock& clock = Kr::SteadyClock::instance());
    ~KrApplication() override;

    // --- Main loop -------------------------------------------------------------------------------------------------
    /// Runs frames until an exit is requested, or a limit is reached; then runs the functions that still wait.
    /// \return  0, or 1 when an exception has ended a frame.
    /// After an earlier exit request it runs one frame. Does not end while the application is paused.
    int run(const RunLimits& limits = {});
    /// Runs one frame, for hosts that have their own loop. Inside a frame it leaves ending the loop to the outer call.
    /// \return  false when an exit was requested, and when an exception has ended the frame: end the loop then. The
    ///          application is not running from then on, unless update is called again.
    bool update();
    /// Any thread. The frame in progress, or the next one, is the last one.
    void sendExitApplicationRequest(eExitRequestMode mode = eExitRequestMode::kThis) const;
    /// The same for this application, and safe in a signal handler. A frame that waits for its start begins early.
    void requestExitFromSignal() noexcept;

    /// Any thread. From the next frame on, frames run without simulating: events, delayed functions and exit requests
    /// are processed at the frame rate, the frame number and the simulated time do not change, and the elapsed time
    /// continues from its value before the pause.
    void pause() noexcept;
    void resume() noexcept;
    [[nodiscard]] bool isPaused() const noexcept;
    /// Any thread. Simulates so many frames; the application is paused before and afterwards.
    void step(std::uint32_t frames = 1) noexcept;

    /// See FrameStatistics; any thread, also through the context.
    [[nodiscard]] FrameStatistics getFrameStatistics() const noexcept;
    void resetFrameStatistics();

    /// Any thread. Runs the function between two frames. While the main loop runs, on the application's thread:
    /// immediately when that thread calls between two frames, else after the frame and onFrameEnded. Otherwise
    /// immediately on the calling thread; when another thread is changing the application, that thread runs the
    /// function before its change ends. An exception is logged as a warning.
    /// \return  false for an empty function and after the application has ended.
    bool executeBetweenFrames(std::function<void()> function);

    // --- Pace ------------------------------------------------------------------------------------------------------
    /// In Hz, from the next frame on. A rate outside the bounds of the configuration (0.1 to 100,000 Hz) is clamped,
    /// NaN changes nothing, with a warning.
    void setSimulationFrameRate(double rateHz);
    /// In Hz, after clamping.
    [[nodiscard]] double getSimulationFrameRate() const noexcept;
    /// Seconds: 1 / frame rate.
    [[nodiscard]] double getSimulationTimeStep() const noexcept;
    /// kSWSync and kSWAndVSync are paced by the clock, the others run free.
    void setSyncMode(eSynchronizationMode mode);
    [[nodiscard]] eSynchronizationMode getSyncMode() const noexcept;
    /// Whether kSWAndVSync is paced by the clock; initially it is. A display with its own refresh disables it.
    void setClockPacingWithVSync(bool enabled) noexcept;

    // --- Content ---------------------------------------------------------------------------------------------------
    /// Any thread while the application runs. See KrObject::add; accepts objects and other extensions, but no modules.
    /// Also true when it will be added later.
    bool add(KrExtension* extension);
    bool add(const KrSmartInterface<IExtension>& extension);
    /// Any thread while the application runs. False for an extension that was not added here.
    bool remove(KrExtension* extension);
    bool remove(const KrSmartInterface<IExtension>& extension);
    void removeAllExtensions();
    /// Of added extensions, without those below them.
    [[nodiscard]] std::size_t getExtensionCount() const;
    /// Null past the end. Borrowed.
    [[nodiscard]] KrExtension* getExtension(std::size_t index) const;
    /// All present content, including extensions below objects; it offers the content to the modules.
    [[nodiscard]] KrContentDispatcher& getContentDispatcher() const noexcept;

    // --- Modules ---------------------------------------------------------------------------------------------------
    /// Any thread while the application runs. Offers all content to the module. False for null and for a module of any
    /// application. Also true when it will be inserted later; the rules are tested then.
    bool insertModule(const KrSmartInterface<ISimulatorModule>& module);
    /// Any thread while the application runs. Withdraws all content from the module. False for another module. Also
    /// true when it will be removed later.
    bool removeModule(const KrSmartInterface<ISimulatorModule>& module);
    void removeAllModules();
    [[nodiscard]] std::size_t getModuleCount() const;
    /// In the order of insertion; null past the end. Borrowed.
    [[nodiscard]] KrSimulatorModule* getModule(std::size_t index) const;

    // --- Modes -----------------------------------------------------------------------------------------------------
    [[nodiscard]] eApplicationMode getApplicationMode() const noexcept;
    /// Any thread while the application runs. Sets the fields to editing mode or not, then calls the modules and
    /// listeners. False for an invalid mode. Also true when it will be set later.
    bool setApplicationMode(eApplicationMode mode);
    void setCommunicationModel(eCommunicationModel model);
    /// With kAutomatic it is the master unless there are other applications.
    [[nodiscard]] bool isMaster() const noexcept;
    [[nodiscard]] bool isSlave() const noexcept;

    // --- Setup -----------------------------------------------------------------------------------------------------
    /// The current settings. Fields that are changed here, for example by an editor, take effect after the passes of
    /// the frame in progress or of the next one.
    [[nodiscard]] ApplicationConfig* getConfiguration() const noexcept;
    /// All random streams of the application begin anew, with the numbers of this seed; 0 at the beginning. Before the
    /// first frame or between two frames, so that all content sees the same numbers. A setup, and the field of the
    /// configuration, begin them anew only with a seed that differs.
    void setRandomSeed(std::uint32_t seed);
    /// Applies all settings of a setup: log, frame rate, modes, search directories of the process, and the settings of
    /// modules; missing modules are created. An invalid value leaves its setting unchanged, with a warning, and so does
    /// a field that the setup does not have. False for null, and while the content must not change.
    bool applySetup(const KrSmartInterface<ApplicationConfig>& setup);

    // --- Log -------------------------------------------------------------------------------------------------------
    /// For the process, in which KrErrorHandler is installed as long as an application lives (see create).
    void enableConsoleLog(bool enable);
    [[nodiscard]] bool isConsoleLogEnabled() const noexcept;
    /// Writes log lines to "<prefix><host>_<process id>.log"; an empty prefix means the system's temporary folder.
    void setLogFilePrefix(const std::string& prefix);
    /// Empty without a log file.
    [[nodiscard]] std::string getLogFilename() const;

    // --- Services --------------------------------------------------------------------------------------------------
    /// The context of references that begin with an application of this process, once it has a name:
    /// "base:///KrApplication/Rig/KrObject/Car". Modules and content are below an application, extensions below
    /// objects. Never destroyed.
    [[nodiscard]] static Kr::KrBase& getReferenceRoot();
    [[nodiscard]] const ApplicationContext& getContext() const noexcept;
    /// Ignores a listener that is registered already. Borrowed: unregister it before it dies, on the thread of the
    /// application. Any thread. Rules of a delivery: docs/notification.md.
    void registerListener(IApplicationListener* listener);
    void unregisterListener(IApplicationListener* listener);
    /// The same for a shared listener, which may be released on any thread: it lives until the handle ends the
    /// registration and the calls in progress have ended. An empty handle when it is registered already.
    [[nodiscard]] KrData::DelegateConnection holdListener(std::shared_ptr<IApplicationListener> listener);
    /// Adds the states of all content and all modules. Ignores null.
    void fillSimulationState(const Kr::KrSmartPtr<KrSimulationState>& state) const;
    /// Saves and restores states of this application: its implementation is an ISimulationFileManager, its parameters
    /// are the settings. Each call returns the same one; null when it cannot be created. Borrowed.
    [[nodiscard]] KrExtension* getSimulationFileManager() const;

    /// References to the parts of an application, for framework code that extends it; valid during its lifetime.
    struct Internals {
        KrObject& root;  ///< holds what was added
        KrSimulatorModuleSequence& modules;
        ApplicationState& state;
        EventManagerImplementation& events;
        FramePacer& pacer;
        /// Called in each frame before the passes, unless this is a slave; set by code that distributes the simulation.
        std::function<void(const ApplicationContext&)>& masterStep;
    };
    [[nodiscard]] Internals getInternals() const noexcept;

private:
    friend struct detail::ApplicationAccess;
    struct Parts;

    explicit KrApplication(Kr::IClock& clock);

    bool _frame();
    bool _runFrame();
    [[nodiscard]] bool _takePause() noexcept;
    [[nodiscard]] bool _isPaced() const noexcept;
    void _pace();
    void _publishTime();
    void _passPausedFrame();
    void _runPasses();
    [[nodiscard]] bool _isFrameUnderWayHere() const noexcept;
    void _countFrame(double entered);
    void _endLoop(int exitValue);
    void _noteSetting(const KrData::FieldBase& changed);
    void _applyChangedSettings();
    /// \param which  a bit for each setting that is to take effect; its field is there.
    void _applySettings(const ApplicationConfig& settings, std::uint32_t which);
    /// \param isAsked  log it even if it is the current one.
    void _applyFrameRate(double rateHz, bool isAsked);
    void _fileLog(const std::string& prefix);
    bool _insertModule(const KrSmartInterface<ISimulatorModule>& module);
    void _removeModule(const KrSmartInterface<ISimulatorModule>& module);
    /// Without telling the listeners of the application.
    bool _takeOutModule(const KrSmartInterface<ISimulatorModule>& module);
    void _removeAllModules();
    void _removeAllExtensions();
    void _changeMode(eApplicationMode mode);
    void _setEditing(bool editing);
    /// Does it now, or later when the content must not change now. \return  whether it was done now.
    bool _whenIdle(const std::function<void()>& change);

    std::unique_ptr<Parts> _parts;
};

}  // namespace KrSim
