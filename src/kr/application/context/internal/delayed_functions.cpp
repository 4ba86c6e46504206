#include "kr/application/context/internal/delayed_functions.h"

#include <utility>

#include "kr/platform/guard.h"

namespace KrSim::detail {

namespace {

// The texts name no object: "%.0s" takes the name of the guard and prints nothing.
constexpr Kr::GuardTexts kFunctionTexts{
    Kr::eLogLevel::kWarn, "%.0sApplicationContext: Exception thrown when executing a delayed function: %s.\n",
    "%.0sApplicationContext: Unhandled exception thrown when executing a delayed function.\n", "delayed function"};

// A burst may have made a vector large; one of more functions than this is given back.
constexpr std::size_t kKeptCapacity = 4096;

void reportDropped(std::size_t count) {
    if (count == 0) return;
    Kr::logMessage(Kr::eLogLevel::kWarn,
                   "ApplicationContext: the application has ended, delayed functions not executed: %zu.\n", count);
}

}  // namespace

bool DelayedFunctions::add(Function&& function) {
    const std::lock_guard lock(_mutex);
    if (_closed.load(std::memory_order_relaxed)) return false;
    _queued.push_back(std::move(function));
    _hasQueued.store(true, std::memory_order_relaxed);
    return true;
}

void DelayedFunctions::run(const Function& function) {
    Kr::callGuarded(
        kFunctionTexts, [] { return ""; }, function);
}

void DelayedFunctions::runBatch() {
    if (_isRunning || !hasWork()) return;
    {
        const std::lock_guard lock(_mutex);
        _hasQueued.store(false, std::memory_order_relaxed);
        _batch.swap(_queued);
    }
    if (_batch.empty()) return;
    _isRunning = true;
    std::size_t dropped = 0;
    for (Function& each : _batch) {
        const Function function = std::move(each);  // its data is released before the next one runs
        if (_closed.load(std::memory_order_relaxed)) {
            ++dropped;
            continue;
        }
        run(function);
    }
    _batch.clear();
    if (_batch.capacity() > kKeptCapacity) _batch = {};
    _isRunning = false;
    reportDropped(dropped);
}

void DelayedFunctions::close(std::size_t others) {
    std::vector<Function> waiting;
    {
        const std::lock_guard lock(_mutex);
        _closed.store(true, std::memory_order_relaxed);
        waiting.swap(_queued);
    }
    const std::size_t dropped = waiting.size() + others;
    waiting.clear();
    reportDropped(dropped);
}

}  // namespace KrSim::detail
