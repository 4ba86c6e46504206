// The main loop.

#include <algorithm>
#include <exception>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/application_access.h"
#include "kr/application/context/application_state.h"
#include "kr/application/internal/application_parts.h"
#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/platform/log.h"
#include "kr/platform/profiling.h"
#include "kr/platform/thread_id.h"

namespace KrSim {

namespace {

/// A paused application stays responsive at low frame rates, too.
constexpr double kLongestPausedSeconds = 0.05;

/// A frame that is under way. One inside another leaves the flags to that one.
class FrameScope {
public:
    explicit FrameScope(ApplicationState& state) noexcept
        : _state(state), _wasInFrame(state.isInFrame), _wasUpdating(state.isUpdatingModules) {
        _state.isInFrame = true;
    }
    FrameScope(const FrameScope&) = delete;
    FrameScope& operator=(const FrameScope&) = delete;
    ~FrameScope() { end(); }

    void end() noexcept {
        _section.close();
        _state.isInFrame = _wasInFrame;
        _state.isUpdatingModules = _wasUpdating;
    }

private:
    ApplicationState& _state;
    const bool _wasInFrame;
    const bool _wasUpdating;
    Kr::ProfilingSection _section{"Application", "Frame"};
};

}  // namespace

int KrApplication::run(const RunLimits& limits) {
    const Kr::KrSmartPtr<KrApplication> self(this);
    const bool isInner = _isFrameUnderWayHere();
    const EventManagerImplementation::Running running(_parts->events);
    auto& parts = *_parts;
    const auto framesBefore = parts.framesRun;
    const double secondsBefore = parts.simulatedSeconds;
    const auto isOver = [&] {
        return parts.framesRun - framesBefore >= limits.frames ||
               limits.seconds - (parts.simulatedSeconds - secondsBefore) < 0.5 * getSimulationTimeStep();
    };
    int exitValue = 0;
    try {
        while (!isOver() && _frame()) {
        }
    } catch (const std::exception& exception) {
        exitValue = 1;
        Kr::logErrorNoThrow("KrApplication::run(): Exception caught: %s\n", exception.what());
    } catch (...) {
        exitValue = 1;
        Kr::logErrorNoThrow("KrApplication::run(): Unknown exception caught\n");
    }
    if (!isInner) _endLoop(exitValue);
    Kr::logMessage(Kr::eLogLevel::kTrace, "KrApplication: Exiting run(), exit value = %d\n", exitValue);
    return exitValue;
}

bool KrApplication::update() {
    const Kr::KrSmartPtr<KrApplication> self(this);
    const bool isInner = _isFrameUnderWayHere();
    const EventManagerImplementation::Running running(_parts->events);
    try {
        if (_frame()) return true;
        if (!isInner) _endLoop(0);
    } catch (...) {  // was reported
        if (!isInner) _endLoop(1);
    }
    return false;
}

bool KrApplication::_isFrameUnderWayHere() const noexcept {
    return _parts->context.isRunning() && _parts->context.isApplicationThread() && _parts->state->isInFrame;
}

void KrApplication::_endLoop(int exitValue) {
    _parts->state->leaveLoop();
    _parts->exitRequested.store(false, std::memory_order_relaxed);  // served
    // Releases threads that wait for this one to deliver an event.
    detail::EventManagerAccess::stopRunning(_parts->events);
    _parts->listeners.notify([&](IApplicationListener& each) { each.onRunEnded(this, exitValue); });
}

bool KrApplication::_frame() {
    try {
        return _runFrame();
    } catch (const std::exception& exception) {
        Kr::logErrorNoThrow("Stopping simulation because of exception: %s\n", exception.what());
        throw;
    } catch (...) {
        Kr::logErrorNoThrow("Unhandled exception, stopping current simulation.\n");
        throw;
    }
}

bool KrApplication::_runFrame() {
    auto& parts = *_parts;
    const bool isInner = _isFrameUnderWayHere();
    _parts->state->enterLoop();
    if (!isInner) _parts->state->runBetweenFrames();
    FrameScope scope(*_parts->state);
    const double entered = parts.pacer.getClock().getSeconds();
    if (!parts.startTime) parts.startTime = entered;
    const bool isPaused = _takePause();
    _parts->state->isPaused = isPaused;
    if (!isPaused) {
        _parts->state->frame = static_cast<std::uint32_t>(parts.frames);
        _parts->state->elapsedSeconds = entered - *parts.startTime;
    }

    KrEventDispatcher::preUpdate();
    _parts->state->runDelayedFunctions();
    if (isPaused) {
        _passPausedFrame();
    } else {
        _parts->content->_updateProxies();
        _pace();
        _runPasses();
    }
    if (_parts->changedSettings != 0) _applyChangedSettings();
    KrEventDispatcher::postUpdate();
    _parts->state->runDelayedFunctions();
    if (!isPaused) _countFrame(entered);
    parts.listeners.notify([this](IApplicationListener& each) { each.onFrameEnded(this); });
    scope.end();
    if (!isInner) _parts->state->runBetweenFrames();
    return !_parts->exitRequested.load(std::memory_order_relaxed);
}

void KrApplication::_countFrame(double entered) {
    auto& parts = *_parts;
    ++parts.frames;
    ++parts.framesRun;
    parts.simulatedSeconds += parts.stepSeconds;
    ++parts.time.ticks;
    parts.meter.onFrameEnded();
    _parts->state->setStatistics(parts.meter.getStatistics());
    parts.updateSeconds = parts.pacer.getClock().getSeconds() - entered - parts.waitedSeconds;
}

bool KrApplication::_isPaced() const noexcept {
    const auto mode = getSyncMode();
    return mode == eSynchronizationMode::kSWSync ||
           (mode == eSynchronizationMode::kSWAndVSync && _parts->pacesWithVSync);
}

void KrApplication::_publishTime() {
    auto& time = _parts->time;
    if (time.stepSeconds != _parts->stepSeconds) time = {time.getSeconds(), 0, _parts->stepSeconds};
    _parts->state->simulatedSeconds = time.getSeconds();
    _parts->state->ticks = time.ticks;
    _parts->state->stepSeconds = time.stepSeconds;
}

void KrApplication::_pace() {
    auto& parts = *_parts;
    const bool isPaced = _isPaced();
    parts.stepSeconds = getSimulationTimeStep();
    _publishTime();
    const FrameStart start = isPaced ? parts.pacer.beginPaced(parts.stepSeconds) : parts.pacer.beginFree();
    parts.meter.onFrame(start, parts.stepSeconds, isPaced);
    parts.waitedSeconds = start.wait + start.oversleep;
    _parts->state->secondsBetweenFrames = parts.frameStart ? start.time - *parts.frameStart : 0.0;
    _parts->state->updateSeconds = parts.updateSeconds;
    _parts->state->waitSeconds = start.wait;
    _parts->state->setStatistics(parts.meter.getStatistics());
    parts.frameStart = start.time;
    if (parts.masterStep && !isSlave()) parts.masterStep(_parts->context);
    // Again: the frame begins after its wait.
    _parts->state->frame = static_cast<std::uint32_t>(parts.frames);
    _parts->state->elapsedSeconds = start.time - *parts.startTime;
    Kr::publishMetric("FrameNumber", _parts->state->frame);
    Kr::publishMetric("ElapsedSeconds", _parts->state->elapsedSeconds);
}

void KrApplication::_runPasses() {
    const auto& modules = _parts->modules;
    const bool wasUpdating = _parts->state->isUpdatingModules;
    _parts->state->isUpdatingModules = true;
    const auto& state = *_parts->state;
    const bool isSimulating = state.mode == eApplicationMode::kSimulating;
    _parts->stepBoundary.beginStep({state.simulatedSeconds, isSimulating ? double(state.stepSeconds) : 0.0});
    modules.preUpdate(_parts->context);
    modules.update(_parts->context);
    modules.postUpdate(_parts->context);
    _parts->stepBoundary.endStep();
    _parts->state->isUpdatingModules = wasUpdating;
}

// --- Between two frames --------------------------------------------------------------------------------------------

bool KrApplication::executeBetweenFrames(std::function<void()> function) {
    return _parts->state->executeBetweenFrames(std::move(function));
}

bool detail::ApplicationAccess::isBetweenFrames(const KrApplication& application) noexcept {
    if (!application._parts->context.isRunning()) return !application._parts->context.isBusy();
    return application._parts->context.isApplicationThread() && !application._parts->state->isInFrame;
}

FramePosition detail::ApplicationAccess::getFramePosition(const KrApplication& application) {
    const auto& parts = *application._parts;
    FramePosition position;
    position.frames = parts.frames;
    position.frame = application._parts->state->frame;
    position.elapsedSeconds = application._parts->state->elapsedSeconds;
    position.frameRateHz = application._parts->state->frameRateHz;
    position.time = parts.time;
    position.now = parts.pacer.getClock().getSeconds();
    position.start = parts.startTime;
    position.begin = parts.frameStart;
    return position;
}

void detail::ApplicationAccess::setFramePosition(KrApplication& application, const FramePosition& position) {
    auto& parts = *application._parts;
    const double shift = parts.pacer.getClock().getSeconds() - position.now;
    const auto shifted = [shift](std::optional<double> moment) {
        if (moment) *moment += shift;
        return moment;
    };
    parts.frames = position.frames;
    parts.startTime = shifted(position.start);
    parts.frameStart = shifted(position.begin);
    parts.time = position.time;
    // The context shows the beginning of the last frame.
    auto last = position.time;
    if (last.ticks > 0) --last.ticks;
    application._parts->state->simulatedSeconds = last.getSeconds();
    application._parts->state->ticks = last.ticks;
    application._parts->state->stepSeconds = last.stepSeconds;
    application._parts->state->frame = position.frame;
    application._parts->state->elapsedSeconds = position.elapsedSeconds;
    if (position.frameRateHz != application._parts->state->frameRateHz)
        application.setSimulationFrameRate(position.frameRateHz);
}

// --- Pause ---------------------------------------------------------------------------------------------------------

void KrApplication::requestExitFromSignal() noexcept {
    _parts->exitRequested.store(true, std::memory_order_relaxed);
}

void KrApplication::setClockPacingWithVSync(bool enabled) noexcept {
    _parts->pacesWithVSync = enabled;
}

void KrApplication::pause() noexcept {
    _parts->stepsLeft.store(0);
    _parts->pauseRequested.store(true);
}

void KrApplication::resume() noexcept {
    _parts->pauseRequested.store(false);
}

bool KrApplication::isPaused() const noexcept {
    return _parts->pauseRequested.load();
}

void KrApplication::step(std::uint32_t frames) noexcept {
    _parts->stepsLeft.fetch_add(frames);
    _parts->pauseRequested.store(true);
}

bool KrApplication::_takePause() noexcept {
    if (!_parts->pauseRequested.load()) return false;
    auto left = _parts->stepsLeft.load();
    while (left > 0 && !_parts->stepsLeft.compare_exchange_weak(left, left - 1)) {
    }
    return left == 0;
}

void KrApplication::_passPausedFrame() {
    auto& parts = *_parts;
    const FrameStart start = parts.pacer.beginPaced(std::min(getSimulationTimeStep(), kLongestPausedSeconds));
    parts.meter.onPausedFrame(start);
    // The elapsed time is that of the beginning of the last frame.
    *parts.startTime += start.time - parts.frameStart.value_or(*parts.startTime);
    parts.frameStart = start.time;
}

FrameStatistics KrApplication::getFrameStatistics() const noexcept {
    return _parts->state->getStatistics();
}

void KrApplication::resetFrameStatistics() {
    _parts->meter.reset();
    _parts->state->setStatistics({});
}

// --- Exit ----------------------------------------------------------------------------------------------------------

void KrApplication::sendExitApplicationRequest(eExitRequestMode mode) const {
    switch (mode) {
        case eExitRequestMode::kThis:
            static_cast<void>(
                _parts->context.executeLater([this] { _parts->exitRequested.store(true, std::memory_order_relaxed); }));
            break;
        case eExitRequestMode::kAll:
            _parts->events.sendEvent(kStopApplicationEvent, EventData());
            break;
        case eExitRequestMode::kOthers:
            _parts->events.sendEventRemotely(kStopOtherApplicationsEvent, EventData());
            break;
    }
}

}  // namespace KrSim
