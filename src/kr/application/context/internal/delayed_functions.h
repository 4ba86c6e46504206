#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <vector>

namespace KrSim::detail {

/// Functions on their way to one thread, first in, first out, a batch at a time.
///
/// Functions run, and are destroyed, outside the lock. Two vectors change places, so that a steady number of functions
/// allocates nothing.
/// Thread: add and close on any thread; runBatch on the one that the functions are for.
class DelayedFunctions {
public:
    using Function = std::function<void()>;

    DelayedFunctions() = default;
    DelayedFunctions(const DelayedFunctions&) = delete;
    DelayedFunctions& operator=(const DelayedFunctions&) = delete;

    /// False after close(), and the function stays with the caller.
    bool add(Function&& function);
    /// Runs the functions that were added before the call; those that they add are for the next batch, so that one that
    /// adds itself again cannot keep the caller for ever. Nothing happens when called from one of them.
    void runBatch();
    /// An exception becomes a warning.
    static void run(const Function& function);
    /// Whether this thread runs a batch; for that thread only.
    [[nodiscard]] bool isRunning() const noexcept { return _isRunning; }
    /// Destroys what waits, and all that comes; a batch under way ends with the function that is running.
    /// \param others  functions that the caller has destroyed and that count as dropped here.
    void close(std::size_t others = 0);

private:
    std::mutex _mutex;  // guards _queued, and setting _closed
    std::vector<Function> _queued;
    std::atomic<bool> _closed{false};

    // Of the thread that runs the batches
    std::vector<Function> _batch;
    bool _isRunning{false};
};

}  // namespace KrSim::detail
