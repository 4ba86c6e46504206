#include "kr/application/context/application_state.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "kr/application/context/internal/delayed_functions.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

ApplicationState::ApplicationState()
    : _delayed(std::make_unique<detail::DelayedFunctions>()),
      _betweenFrames(std::make_unique<detail::DelayedFunctions>()) {}

ApplicationState::ApplicationState(NoApplication) noexcept
    : _alive(false), _isActivationTracked(false), _frameRateHz(0.0), _requestedRateHz(0.0) {}

ApplicationState::~ApplicationState() = default;

const ApplicationState& ApplicationState::_none() {
    static const auto* none = new ApplicationState(NoApplication{});
    return *none;
}

void ApplicationState::_setFrame(std::uint32_t frame, double elapsedSeconds) noexcept {
    _frame.store(frame, kRelaxed);
    _elapsedSeconds.store(elapsedSeconds, kRelaxed);
}

void ApplicationState::_setTimings(double secondsBetweenFrames, double updateSeconds, double waitSeconds) noexcept {
    _secondsBetweenFrames.store(secondsBetweenFrames, kRelaxed);
    _updateSeconds.store(updateSeconds, kRelaxed);
    _waitSeconds.store(waitSeconds, kRelaxed);
}

// Word by word: a lock would let a reader hold up a frame.
void ApplicationState::_setStatistics(const FrameStatistics& statistics) noexcept {
    const auto words = std::bit_cast<std::array<std::uint64_t, sizeof statistics / sizeof(std::uint64_t)>>(statistics);
    for (std::size_t i = 0; i < words.size(); ++i)
        _statistics[i].store(words[i], kRelaxed);
}

FrameStatistics ApplicationState::_getStatistics() const noexcept {
    std::array<std::uint64_t, sizeof(FrameStatistics) / sizeof(std::uint64_t)> words{};
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = _statistics[i].load(kRelaxed);
    return std::bit_cast<FrameStatistics>(words);
}

void ApplicationState::_setFrameRate(double pacedHz, double requestedHz) noexcept {
    _frameRateHz.store(pacedHz, kRelaxed);
    _requestedRateHz.store(requestedHz, kRelaxed);
}

void ApplicationState::_setManagers(EventManager* eventManager, ErrorManager* errorManager) noexcept {
    _eventManager.store(eventManager, std::memory_order_release);
    _errorManager.store(errorManager, std::memory_order_release);
}

EventManager* ApplicationState::_getEventManager() const noexcept {
    return _eventManager.load(std::memory_order_acquire);
}

ErrorManager* ApplicationState::_getErrorManager() const noexcept {
    return _errorManager.load(std::memory_order_acquire);
}

bool ApplicationState::_executeLater(std::function<void()>&& function) {
    return function && _delayed->add(std::move(function));
}

void ApplicationState::_runDelayedFunctions() {
    const Kr::KrSmartPtr<ApplicationState> self(this);  // a function may destroy the application
    _delayed->runBatch();
}

bool ApplicationState::_executeBetweenFrames(std::function<void()>&& function) {
    return function && _betweenFrames->add(std::move(function));
}

void ApplicationState::_runBetweenFrames() {
    const Kr::KrSmartPtr<ApplicationState> self(this);
    _betweenFrames->runBatch();
}

void ApplicationState::_end() {
    _running.store(false, std::memory_order_release);
    _setManagers(nullptr, nullptr);
    _alive.store(false, std::memory_order_release);
    _delayed->close();
    _betweenFrames->close();
}

}  // namespace KrSim
