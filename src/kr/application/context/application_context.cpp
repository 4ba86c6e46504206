#include "kr/application/context/application_context.h"

#include <utility>

#include "kr/application/context/application_state.h"
#include "kr/core/enum.h"
#include "kr/events/errors/error_manager.h"
#include "kr/events/invalid_event_manager.h"

namespace KrSim {

// Registered here and not in a file of their own, which a static library would leave out.
KR_REGISTER_ENUM(KrSim::eApplicationMode, {eApplicationMode::kSimulating, "Simulating mode"},
                 {eApplicationMode::kEditing, "Editing mode"}, {eApplicationMode::kPlayback, "Playback mode"});
KR_REGISTER_ENUM(KrSim::eSynchronizationMode, {eSynchronizationMode::kSyncOff, "Sync Off"},
                 {eSynchronizationMode::kVSync, "V-Sync"}, {eSynchronizationMode::kSWSync, "SW Sync"},
                 {eSynchronizationMode::kSWAndVSync, "SW + V-Sync"});
KR_REGISTER_ENUM(KrSim::eCommunicationModel, {eCommunicationModel::kMaster, "Master"},
                 {eCommunicationModel::kSlave, "Slave"}, {eCommunicationModel::kAutomatic, "Automatic"});

namespace {

using State = Kr::KrSmartPtr<ApplicationState>;

// Of this file, so that the compiler may put them inside the queries.
bool isAlive(const State& state) noexcept {
    return state && state->_isAlive();
}

/// That of the living application, or the one that stands for none.
const ApplicationState& current(const State& state) noexcept {
    return isAlive(state) ? *state : ApplicationState::_none();
}

}  // namespace

ApplicationContext::ApplicationContext() noexcept = default;
ApplicationContext::ApplicationContext(Kr::KrSmartPtr<ApplicationState> state) noexcept : _state(std::move(state)) {}
ApplicationContext::ApplicationContext(const ApplicationContext& other) noexcept = default;
ApplicationContext::ApplicationContext(ApplicationContext&& other) noexcept = default;
ApplicationContext& ApplicationContext::operator=(const ApplicationContext& other) noexcept = default;
ApplicationContext& ApplicationContext::operator=(ApplicationContext&& other) noexcept = default;
ApplicationContext::~ApplicationContext() = default;

bool ApplicationContext::isValid() const noexcept {
    return isAlive(_state);
}

// --- Modes ---------------------------------------------------------------------------------------------------------

eApplicationMode ApplicationContext::getApplicationMode() const noexcept {
    return current(_state)._getApplicationMode();
}
eSynchronizationMode ApplicationContext::getSyncMode() const noexcept {
    return current(_state)._getSyncMode();
}
eCommunicationModel ApplicationContext::getCommunicationModel() const noexcept {
    return current(_state)._getCommunicationModel();
}
bool ApplicationContext::isActivationTracked() const noexcept {
    return isAlive(_state) && _state->_tracksActivation();
}

// --- Frame and times -----------------------------------------------------------------------------------------------

std::uint32_t ApplicationContext::getFrame() const noexcept {
    return current(_state)._getFrame();
}
double ApplicationContext::getElapsedSeconds() const noexcept {
    return current(_state)._getElapsedSeconds();
}
double ApplicationContext::getSecondsBetweenFrames() const noexcept {
    return current(_state)._getSecondsBetweenFrames();
}
double ApplicationContext::getUpdateSeconds() const noexcept {
    return current(_state)._getUpdateSeconds();
}
double ApplicationContext::getWaitSeconds() const noexcept {
    return current(_state)._getWaitSeconds();
}
double ApplicationContext::getSimulationFrameRate() const noexcept {
    return current(_state)._getFrameRate();
}
double ApplicationContext::getRequestedFrameRate() const noexcept {
    return current(_state)._getRequestedFrameRate();
}
double ApplicationContext::getSimulationTimeStep() const noexcept {
    const double rateHz = getSimulationFrameRate();
    return rateHz > 0.0 ? 1.0 / rateHz : 0.0;
}

FrameStatistics ApplicationContext::getFrameStatistics() const noexcept {
    return current(_state)._getStatistics();
}

bool ApplicationContext::isPaused() const noexcept {
    return current(_state)._isPaused();
}

// --- Thread and deferral -------------------------------------------------------------------------------------------

Kr::ThreadId ApplicationContext::getThread() const noexcept {
    return current(_state)._getThread();
}

bool ApplicationContext::isApplicationThread() const noexcept {
    return getThread() == Kr::getCurrentThreadId();
}

bool ApplicationContext::isRunning() const noexcept {
    return isAlive(_state) && _state->_isRunning();
}

bool ApplicationContext::isUpdatingModules() const noexcept {
    return current(_state)._isUpdatingModules();
}

bool ApplicationContext::isBusy() const noexcept {
    return isAlive(_state) && _state->_isBusy();
}

bool ApplicationContext::executeLater(std::function<void()> function) const {
    return isAlive(_state) && _state->_executeLater(std::move(function));
}

bool ApplicationContext::_queueChange(std::function<void()> change) const {
    return _state && _state->_queueChange(std::move(change));
}

ApplicationContext::Change::Change(const ApplicationContext& context) {
    if (!isAlive(context._state)) return;
    const auto entry = context._state->_enterChange();
    _mayRun = entry != ApplicationState::eEntry::kRefused;
    if (entry == ApplicationState::eEntry::kHeld) _state = context._state;
}

ApplicationContext::Change::~Change() {
    if (_state) _state->_leaveChange();
}

detail::LocalQueue* ApplicationContext::_getEventQueue() const noexcept {
    return isAlive(_state) ? _state->_getEventQueue() : nullptr;
}

// --- Services ------------------------------------------------------------------------------------------------------

EventManager& ApplicationContext::getEventManager() const noexcept {
    static auto* none = new InvalidEventManager;
    auto* manager = current(_state)._getEventManager();
    return manager != nullptr ? *manager : *none;
}

ErrorManager& ApplicationContext::getErrorManager() const noexcept {
    static auto* none = new ErrorManager(nullptr);
    auto* manager = current(_state)._getErrorManager();
    return manager != nullptr ? *manager : *none;
}

}  // namespace KrSim
