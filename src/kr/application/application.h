#pragma once

#include <atomic>
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

/// When KrApplication::run ends by itself: with the first limit that is reached.
struct RunLimits {
    static constexpr std::uint64_t kEndless = std::numeric_limits<std::uint64_t>::max();

    std::uint64_t frames{kEndless};
    /// Simulated time, that is time steps added up, rounded to whole frames.
    double seconds{std::numeric_limits<double>::infinity()};
};

/// The host of one running simulation: holds modules and content, and steps the modules frame after frame.
///
///     const auto application = KrSim::KrApplication::create();
///     application->insertModule(module);
///     application->add(car);
///     application->run({.seconds = 10.0});
///
/// docs/frame.md walks through a frame.
///
/// Thread: whichever calls run or update is the application's thread while it does; all operations are for it, or for
/// any one thread while the application is not running. What is marked "any thread" may be called from others too.
/// During the passes, and from other threads, changes of content and modules are done later (docs/frame.md).
/// Ownership: holds modules and content until they are removed. Destroying it removes both; its context answers like
/// that of no application from then on.
class KR_API KrApplication final : public Kr::KrBase, public Kr::KrRefCount {
    KR_BASE_CLASS(KrApplication, Kr::KrBase)

    /// Which applications are to exit.
    enum class eExitRequestMode : std::int32_t {
        kThis,    ///< this application
        kAll,     ///< all applications of the simulation
        kOthers,  ///< all but those of this process
    };

    static const EventId kStopApplicationEvent;        ///< an application that receives it exits
    static const EventId kStopOtherApplicationsEvent;  ///< likewise; sent to other processes only
    static const EventId kNewNetworkApplicationAddedEvent;

    /// An application with default settings, without modules and content: paced by the clock at 60 Hz, in editing mode.
    /// Log messages are published through the event manager of the application that was created last and lives, and
    /// errors that are logged throw at the code that logs: KrErrorHandler is installed, unless the host has put a
    /// handler of its own behind the log. The clock is borrowed. The calling thread is the one that events of the
    /// application are delivered on until it runs.
    [[nodiscard]] static Kr::KrSmartPtr<KrApplication> create(Kr::IClock& clock = Kr::SteadyClock::instance());
    ~KrApplication() override;

    // --- Main loop -------------------------------------------------------------------------------------------------
    /// Runs frames until an exit is requested, or a limit is reached; then the functions that still wait are run.
    /// \return  0, or 1 when an exception has ended it.
    /// An exit that was requested before lets one frame run. Does not end while the application is paused.
    int run(const RunLimits& limits = {});
    /// Runs one frame, for hosts that have a loop of their own. Called inside a frame, it leaves ending the loop to the
    /// outer one.
    /// \return  false when an exit was requested, and when an exception has ended the frame: end the loop then. From
    ///          then on the application is not running, unless update is called again.
    bool update();
    /// Any thread. The frame that is under way, or the next one, is the last one.
    void sendExitApplicationRequest(eExitRequestMode mode = eExitRequestMode::kThis) const;
    /// The same for this application, and safe in a signal handler. A frame that waits for its time begins early.
    void requestExitFromSignal() noexcept { _exitRequested.store(true, std::memory_order_relaxed); }

    /// Any thread. From the next frame on, frames go by without simulating anything: events, delayed functions and exit
    /// requests are handled at the pace of the frame rate, the frame number and the simulated time do not
    /// change, and the elapsed time continues from its value before the pause.
    void pause() noexcept;
    void resume() noexcept;
    [[nodiscard]] bool isPaused() const noexcept;
    /// Any thread. Simulates so many more frames; before and after that the application is paused.
    void step(std::uint32_t frames = 1) noexcept;

    /// See FrameStatistics; any thread, also through the context.
    [[nodiscard]] FrameStatistics getFrameStatistics() const noexcept;
    void resetFrameStatistics();

    /// Any thread. Runs the function between two frames. While the main loop runs that is on the application's thread:
    /// now when that thread calls between two frames, else when the frame has ended and onFrameEnded was called. While
    /// it does not run it is now, on the calling thread; when another thread is changing the application, that thread
    /// runs the function before its change ends. An exception is logged as a warning. \return  false for an empty
    /// function and when the application has ended.
    bool executeBetweenFrames(std::function<void()> function);
    /// Whether no frame is under way, and this thread may change the content now.
    [[nodiscard]] bool _isBetweenFrames() const noexcept;
    /// Between two frames only.
    [[nodiscard]] FramePosition _getFramePosition() const;
    /// The next frame goes on from there: its number, the elapsed time and the frame rate. Limits and statistics count
    /// on. Between two frames only.
    void _setFramePosition(const FramePosition& position);

    // --- Pace ------------------------------------------------------------------------------------------------------
    /// In Hz, from the next frame on. A rate outside the bounds of the configuration (0.1 to 100,000 Hz) is clamped,
    /// NaN changes nothing, with a warning.
    void setSimulationFrameRate(double rateHz);
    /// In Hz, as clamped.
    [[nodiscard]] double getSimulationFrameRate() const noexcept;
    /// Seconds: 1 / frame rate.
    [[nodiscard]] double getSimulationTimeStep() const noexcept;
    /// kSWSync and kSWAndVSync pace by the clock, the others run free.
    void setSyncMode(eSynchronizationMode mode);
    [[nodiscard]] eSynchronizationMode getSyncMode() const noexcept;
    /// Whether kSWAndVSync paces by the clock; it does at first. A display that waits for its own refresh turns it off.
    void setClockPacingWithVSync(bool enabled) noexcept { _pacesWithVSync = enabled; }

    // --- Content ---------------------------------------------------------------------------------------------------
    /// Any thread while the application runs. See KrObject::add; objects and other extensions are taken, modules are
    /// not. True also when it is to be added later.
    bool add(KrExtension* extension);
    bool add(const KrSmartInterface<IExtension>& extension);
    /// Any thread while the application runs. False when it was not added here.
    bool remove(KrExtension* extension);
    bool remove(const KrSmartInterface<IExtension>& extension);
    void removeAllExtensions();
    /// Of those that were added; what these hold is not counted.
    [[nodiscard]] std::size_t getExtensionCount() const;
    /// Null past the end. Borrowed.
    [[nodiscard]] KrExtension* getExtension(std::size_t index) const;
    /// All content that is present, with what objects hold; it offers the content to the modules.
    [[nodiscard]] KrContentDispatcher& getContentDispatcher() const noexcept { return *_content; }

    // --- Modules ---------------------------------------------------------------------------------------------------
    /// Any thread while the application runs. Offers the module all content. False for null and for a module that
    /// belongs to an application. True also when it is to be inserted later; the rules are tested then.
    bool insertModule(const KrSmartInterface<ISimulatorModule>& module);
    /// Any thread while the application runs. Withdraws all content from it. False when it is not here. True also when
    /// it is to be removed later.
    bool removeModule(const KrSmartInterface<ISimulatorModule>& module);
    void removeAllModules();
    [[nodiscard]] std::size_t getModuleCount() const;
    /// In the order of insertion; null past the end. Borrowed.
    [[nodiscard]] KrSimulatorModule* getModule(std::size_t index) const;

    // --- Modes -----------------------------------------------------------------------------------------------------
    [[nodiscard]] eApplicationMode getApplicationMode() const noexcept;
    /// Any thread while the application runs. Sets the fields to editing mode or not, then calls the modules and
    /// listeners. False for a mode that does not exist. True also when it is to be set later.
    bool setApplicationMode(eApplicationMode mode);
    void setCommunicationModel(eCommunicationModel model);
    /// Without other applications kAutomatic makes a master.
    [[nodiscard]] bool isMaster() const noexcept;
    [[nodiscard]] bool isSlave() const noexcept;

    // --- Setup -----------------------------------------------------------------------------------------------------
    /// The present settings. Fields that are changed here, by an editor say, take effect after the passes of the frame
    /// under way or of the next one.
    [[nodiscard]] ApplicationConfig* getConfiguration() const noexcept { return _configuration.get(); }
    /// Takes over all settings of a setup: log, frame rate, modes, search directories of the process, and the settings
    /// of modules, those that are missing included. What is no valid value leaves a setting as it is, with a warning,
    /// and so does a field that the setup does not have. False for null, and while the content must not change.
    bool applySetup(const KrSmartInterface<ApplicationConfig>& setup);

    // --- Log -------------------------------------------------------------------------------------------------------
    /// Of the process, in which KrErrorHandler is installed as long as an application lives (see create).
    void enableConsoleLog(bool enable);
    [[nodiscard]] bool isConsoleLogEnabled() const noexcept;
    /// Files log lines in "<prefix><host>_<process id>.log"; an empty prefix is a file in the system's folder for
    /// temporary ones.
    void setLogFilePrefix(const std::string& prefix);
    /// Empty while lines are not filed.
    [[nodiscard]] std::string getLogFilename() const;

    // --- Services --------------------------------------------------------------------------------------------------
    /// The context of references that begin with an application of this process, once it has a name:
    /// "base:///KrApplication/Rig/KrObject/Car". Below an application come modules and content, below objects what they
    /// hold. Never destroyed.
    [[nodiscard]] static Kr::KrBase& getReferenceRoot();
    [[nodiscard]] const ApplicationContext& getContext() const noexcept { return _context; }
    /// Registering twice is registering once. Borrowed: unregister it before it dies, on the thread of the application.
    /// Any thread. docs/notification.md has the rules of a delivery.
    void registerListener(IApplicationListener* listener);
    void unregisterListener(IApplicationListener* listener);
    /// The same for a listener that is shared, and may be given up on any thread: it lives until the handle ends the
    /// registration and the calls under way have ended. An empty handle when it is registered already.
    [[nodiscard]] KrData::DelegateConnection holdListener(std::shared_ptr<IApplicationListener> listener);
    /// Adds the states of all content and all modules. Null is ignored.
    void fillSimulationState(const Kr::KrSmartPtr<KrSimulationState>& state) const;
    /// Saves and restores states of this application: its implementation is an ISimulationFileManager, its parameters
    /// say how. The same one each time; null when it cannot be made. Borrowed.
    [[nodiscard]] KrExtension* getSimulationFileManager() const;

    /// What the framework's own parts that extend an application work with; good as long as the application lives.
    struct Internals {
        KrObject& root;  ///< holds what was added
        KrSimulatorModuleSequence& modules;
        ApplicationState& state;
        EventManagerImplementation& events;
        FramePacer& pacer;
        /// Called in each frame before the passes, unless this is a slave: what distributes the simulation sets it.
        std::function<void(const ApplicationContext&)>& masterStep;
    };
    [[nodiscard]] Internals getInternals() const noexcept;

private:
    struct Parts;

    explicit KrApplication(Kr::IClock& clock);

    bool _frame();
    bool _runFrame();
    [[nodiscard]] bool _takePause() noexcept;
    [[nodiscard]] bool _isPaced() const noexcept;
    void _pace();
    void _passPausedFrame();
    void _runPasses();
    [[nodiscard]] bool _isFrameUnderWayHere() const noexcept;
    void _countFrame(double entered);
    void _endLoop(int exitValue);
    void _noteSetting(const KrData::FieldBase& changed);
    void _applyChangedSettings();
    /// \param which  a bit for each setting that is to take effect; its field is there.
    void _applySettings(const ApplicationConfig& settings, std::uint32_t which);
    /// \param isAsked  to be logged even if it is the present one.
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
    Kr::KrSmartPtr<ApplicationState> _state;
    ApplicationContext _context;
    KrSmartInterface<ApplicationConfig> _configuration;
    std::unique_ptr<KrContentDispatcher> _content;
    mutable std::atomic<bool> _exitRequested{false};
    std::atomic<bool> _pauseRequested{false};
    std::atomic<std::uint32_t> _stepsLeft{0};
    bool _pacesWithVSync{true};
    std::uint32_t _changedSettings{0};  // of the configuration, a bit for each; they take effect after the passes
    bool _isChangingMode{false};
};

}  // namespace KrSim
