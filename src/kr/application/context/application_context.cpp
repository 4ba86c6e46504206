#include "kr/application/context/application_context.h"

#include <chrono>
#include <memory>
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
    return state && state->isAlive;
}

/// The state of the living application, or that of no application.
const ApplicationState& current(const State& state) noexcept {
    return isAlive(state) ? *state : ApplicationState::none();
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
    return current(_state).mode;
}
eSynchronizationMode ApplicationContext::getSyncMode() const noexcept {
    return current(_state).syncMode;
}
eCommunicationModel ApplicationContext::getCommunicationModel() const noexcept {
    return current(_state).communicationModel;
}
bool ApplicationContext::isActivationTracked() const noexcept {
    return isAlive(_state) && _state->isActivationTracked;
}

// --- Frame and times -----------------------------------------------------------------------------------------------

std::uint32_t ApplicationContext::getFrame() const noexcept {
    return current(_state).frame;
}
double ApplicationContext::getElapsedSeconds() const noexcept {
    return current(_state).elapsedSeconds;
}
double ApplicationContext::getSecondsBetweenFrames() const noexcept {
    return current(_state).secondsBetweenFrames;
}
double ApplicationContext::getUpdateSeconds() const noexcept {
    return current(_state).updateSeconds;
}
double ApplicationContext::getWaitSeconds() const noexcept {
    return current(_state).waitSeconds;
}
double ApplicationContext::getSimulationFrameRate() const noexcept {
    return current(_state).frameRateHz;
}
double ApplicationContext::getRequestedFrameRate() const noexcept {
    return current(_state).requestedRateHz;
}
double ApplicationContext::getSimulationTimeStep() const noexcept {
    const double rateHz = getSimulationFrameRate();
    return rateHz > 0.0 ? 1.0 / rateHz : 0.0;
}

double ApplicationContext::getSimulatedSeconds() const noexcept {
    return current(_state).simulatedSeconds;
}
std::uint64_t ApplicationContext::getTicks() const noexcept {
    return current(_state).ticks;
}
double ApplicationContext::getStepSeconds() const noexcept {
    const double seconds = current(_state).stepSeconds;
    return seconds > 0.0 ? seconds : getSimulationTimeStep();
}
double ApplicationContext::getWallClockSeconds() noexcept {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

RandomStream ApplicationContext::getRandomStream(std::string_view name) const {
    if (isAlive(_state)) return _state->random.find(name);
    return RandomStream(std::make_shared<detail::RandomSequence>(RandomStreams::makeSequence(name, 0)));
}
std::uint32_t ApplicationContext::getRandomSeed() const {
    return current(_state).random.getSeed();
}

FrameStatistics ApplicationContext::getFrameStatistics() const noexcept {
    return current(_state).getStatistics();
}

bool ApplicationContext::isPaused() const noexcept {
    return current(_state).isPaused;
}

// --- Thread and deferral -------------------------------------------------------------------------------------------

Kr::ThreadId ApplicationContext::getThread() const noexcept {
    return current(_state).thread;
}

bool ApplicationContext::isApplicationThread() const noexcept {
    return getThread() == Kr::getCurrentThreadId();
}

bool ApplicationContext::isRunning() const noexcept {
    return isAlive(_state) && _state->isRunning;
}

bool ApplicationContext::isUpdatingModules() const noexcept {
    return current(_state).isUpdatingModules;
}

bool ApplicationContext::isBusy() const noexcept {
    return isAlive(_state) && _state->isBusy();
}

bool ApplicationContext::executeLater(std::function<void()> function) const {
    return isAlive(_state) && _state->executeLater(std::move(function));
}

// --- Services ------------------------------------------------------------------------------------------------------

EventManager& ApplicationContext::getEventManager() const noexcept {
    static auto* none = new InvalidEventManager;
    EventManager* const manager = current(_state).eventManager;
    return manager != nullptr ? *manager : *none;
}

ErrorManager& ApplicationContext::getErrorManager() const noexcept {
    static auto* none = new ErrorManager(nullptr);
    ErrorManager* const manager = current(_state).errorManager;
    return manager != nullptr ? *manager : *none;
}

}  // namespace KrSim
