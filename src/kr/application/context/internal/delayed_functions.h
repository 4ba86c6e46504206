#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <vector>

namespace KrSim::detail {

/// Functions queued for one thread, first in, first out, a batch at a time.
///
/// Functions run, and are destroyed, outside the lock. Two vectors are swapped, so that a steady number of functions
/// allocates nothing.
/// Thread: add and close on any thread; runBatch on the thread of the functions.
class DelayedFunctions {
public:
    using Function = std::function<void()>;

    DelayedFunctions() = default;
    DelayedFunctions(const DelayedFunctions&) = delete;
    DelayedFunctions& operator=(const DelayedFunctions&) = delete;

    /// False after close(); the caller keeps the function then.
    bool add(Function&& function);
    /// Runs the functions that were added before the call; those that they add are for the next batch, so that one that
    /// adds itself again cannot keep the caller for ever. Nothing happens when called from one of them.
    void runBatch();
    /// Whether a call of runBatch would find functions. Those that another thread adds now may be seen the next time.
    [[nodiscard]] bool hasWork() const noexcept { return _hasQueued.load(std::memory_order_relaxed); }
    /// Runs a function; an exception becomes a warning.
    static void run(const Function& function);
    /// Whether this thread runs a batch; for that thread only.
    [[nodiscard]] bool isRunning() const noexcept { return _isRunning; }
    /// Destroys the waiting functions, and all added later; a batch in progress ends with the function that is running.
    /// \param others  number of functions that the caller has destroyed, counted as dropped here.
    void close(std::size_t others = 0);

private:
    std::mutex _mutex;  // guards _queued, and setting _closed
    std::vector<Function> _queued;
    std::atomic<bool> _hasQueued{false};  // written under the lock, read without it: most frames run nothing
    std::atomic<bool> _closed{false};

    // Of the thread that runs the batches
    std::vector<Function> _batch;
    bool _isRunning{false};
};

}  // namespace KrSim::detail
