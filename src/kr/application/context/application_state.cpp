#include "kr/application/context/application_state.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "kr/application/context/internal/change_gate.h"
#include "kr/application/context/internal/delayed_functions.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

namespace {

/// Threads that ask for more changes than the one inside the gate can make are slowed down from here on.
constexpr std::size_t kCrowded = 1000;
constexpr int kYieldsWhenCrowded = 100;

}  // namespace

ApplicationState::ApplicationState()
    : _gate(std::make_unique<detail::ChangeGate>()),
      _delayed(std::make_unique<detail::DelayedFunctions>()),
      _betweenFrames(std::make_unique<detail::DelayedFunctions>()) {}

ApplicationState::ApplicationState(NoApplication) noexcept
    : isAlive(false), isActivationTracked(false), frameRateHz(0.0), requestedRateHz(0.0) {}

ApplicationState::~ApplicationState() = default;

const ApplicationState& ApplicationState::none() {
    static const auto* none = new ApplicationState(NoApplication{});
    return *none;
}

// Word by word: a lock would let a reader hold up a frame.
void ApplicationState::setStatistics(const FrameStatistics& statistics) noexcept {
    const auto words = std::bit_cast<std::array<std::uint64_t, sizeof statistics / sizeof(std::uint64_t)>>(statistics);
    for (std::size_t i = 0; i < words.size(); ++i)
        _statistics[i].store(words[i], std::memory_order_relaxed);
}

FrameStatistics ApplicationState::getStatistics() const noexcept {
    std::array<std::uint64_t, sizeof(FrameStatistics) / sizeof(std::uint64_t)> words{};
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = _statistics[i].load(std::memory_order_relaxed);
    return std::bit_cast<FrameStatistics>(words);
}

bool ApplicationState::executeLater(std::function<void()>&& function) {
    return function && _delayed->add(std::move(function));
}

void ApplicationState::runDelayedFunctions() {
    if (!_delayed->hasWork()) return;
    const Kr::KrSmartPtr<ApplicationState> self(this);  // a function may destroy the application
    _delayed->runBatch();
}

void ApplicationState::runBetweenFrames() {
    if (!_betweenFrames->hasWork()) return;
    const Kr::KrSmartPtr<ApplicationState> self(this);
    _betweenFrames->runBatch();
}

void ApplicationState::end() {
    std::vector<std::function<void()>> dropped;  // die after the lock
    {
        std::unique_lock lock(_gate->mutex);
        _gate->left.wait(lock, [this] { return _gate->isFree(); });
        isRunning = false;
        eventManager = nullptr;
        errorManager = nullptr;
        eventQueue = nullptr;
        stepBoundary = nullptr;
        isAlive = false;
        dropped.swap(_gate->handedOver);
    }
    const std::size_t count = dropped.size();
    dropped.clear();
    _delayed->close(count);
    _betweenFrames->close();
}

// --- Changes -------------------------------------------------------------------------------------------------------

bool ApplicationState::isBusy() const noexcept {
    const auto self = Kr::getCurrentThreadId();
    if (isRunning) return isUpdatingModules || thread != self;
    const auto holder = _gate->holder.load(std::memory_order_relaxed);
    return holder != Kr::ThreadId::kNone && holder != self;
}

void ApplicationState::enterLoop() {
    const auto self = Kr::getCurrentThreadId();
    if (isRunning && thread == self) return;
    std::unique_lock lock(_gate->mutex);
    _gate->left.wait(lock, [this] { return _gate->isFree(); });
    thread = self;
    isRunning = true;
}

void ApplicationState::leaveLoop() {
    const Kr::KrSmartPtr<ApplicationState> self(this);
    {
        std::unique_lock lock(_gate->mutex);
        _gate->left.wait(lock, [this] { return _gate->isFree(); });  // a loop without a frame has not passed the gate
        isRunning = false;
        _gate->hold();
    }
    runDelayedFunctions();
    runBetweenFrames();
    leaveChange();
}

ApplicationState::eEntry ApplicationState::enterChange() {
    const auto self = Kr::getCurrentThreadId();
    const std::lock_guard lock(_gate->mutex);
    if (!isAlive) return eEntry::kFree;
    if (isRunning) return thread == self && !isUpdatingModules ? eEntry::kFree : eEntry::kRefused;
    if (!_gate->isFree()) return eEntry::kRefused;
    _gate->hold();
    return eEntry::kHeld;
}

void ApplicationState::leaveChange() {
    for (;;) {
        std::vector<std::function<void()>> batch;
        {
            const std::lock_guard lock(_gate->mutex);
            if (_gate->depth > 1 || _gate->handedOver.empty()) {
                if (--_gate->depth > 0) return;
                _gate->holder.store(Kr::ThreadId::kNone, std::memory_order_relaxed);
                _gate->left.notify_all();
                return;
            }
            batch.swap(_gate->handedOver);
        }
        for (auto& each : batch) {
            const auto function = std::move(each);  // what it holds is released before the next one runs
            detail::DelayedFunctions::run(function);
        }
    }
}

bool ApplicationState::queueChange(std::function<void()>&& function) {
    std::size_t waiting = 0;
    {
        const std::lock_guard lock(_gate->mutex);
        if (!isAlive) return false;
        if (isRunning) {
            const bool mayRunNow = thread == Kr::getCurrentThreadId() && !isUpdatingModules;
            return !mayRunNow && _delayed->add(std::move(function));
        }
        if (_gate->isFree()) return false;
        _gate->handedOver.push_back(std::move(function));
        waiting = _gate->handedOver.size();
    }
    for (int i = 0; waiting > kCrowded && i < kYieldsWhenCrowded; ++i)
        std::this_thread::yield();
    return true;
}

bool ApplicationState::executeBetweenFrames(std::function<void()>&& function) {
    if (!function) return false;
    const Kr::KrSmartPtr<ApplicationState> self(this);
    bool isNow = false;
    bool isHeld = false;
    {
        const std::lock_guard lock(_gate->mutex);
        if (!isAlive) return false;
        if (isRunning) {
            isNow = thread == Kr::getCurrentThreadId() && !isInFrame;
        } else if (_gate->isFree()) {
            isNow = isHeld = true;
        } else {
            _gate->handedOver.push_back(std::move(function));
            return true;
        }
        if (!_betweenFrames->add(std::move(function))) return false;
        if (isHeld) _gate->hold();
    }
    // Nothing happens in a function that runs there already: what it asks for waits for the next time.
    if (isNow) runBetweenFrames();
    if (isHeld) leaveChange();
    return true;
}

}  // namespace KrSim
