#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "kr/recording/internal/recorded_channel.h"

namespace KrRecording::detail {

/// Takes frames on the thread of the queue.
class IFrameSink {
public:
    IFrameSink() = default;
    IFrameSink(const IFrameSink&) = delete;
    IFrameSink& operator=(const IFrameSink&) = delete;
    virtual ~IFrameSink() = default;

    /// False when nothing can be written any more.
    [[nodiscard]] virtual bool write(const RecordedFrame& frame) = 0;
    /// What was written is safe when the process is killed. False likewise.
    [[nodiscard]] virtual bool flush() = 0;
};

/// Hands frames from the application's thread to a thread of its own. The number of frames in it is bounded.
/// Thread: that of the application, but the sink's functions. Ownership: borrows the sink.
class FrameQueue {
public:
    /// What a kill of the process costs at most, in seconds of the wall clock.
    static constexpr double kFlushSeconds = 0.5;

    /// \param capacity  frames; at least 2
    FrameQueue(IFrameSink& sink, std::size_t capacity);
    FrameQueue(const FrameQueue&) = delete;
    FrameQueue& operator=(const FrameQueue&) = delete;
    ~FrameQueue();  ///< stop()

    /// The frame to be filled; null when there is no room, or nothing can be written any more.
    /// \param mayWait  for room
    [[nodiscard]] RecordedFrame* begin(bool mayWait);
    /// Hands over the frame of begin().
    void end();
    /// Writes what is left and ends the thread.
    void stop();

    [[nodiscard]] bool hasFailed() const noexcept { return _hasFailed.load(std::memory_order_relaxed); }

private:
    void _run();
    [[nodiscard]] bool _writeWaiting();
    [[nodiscard]] bool _flushWhenDue();
    [[nodiscard]] std::size_t _getWaitingCount() const noexcept;

    IFrameSink& _sink;
    std::vector<RecordedFrame> _frames;  // a ring
    std::atomic<std::uint64_t> _handedOver{0};
    std::atomic<std::uint64_t> _written{0};
    std::chrono::steady_clock::time_point _lastFlush{};
    std::atomic<bool> _hasFailed{false};
    std::atomic<bool> _isStopping{false};
    std::mutex _mutex;  // for the conditions alone
    std::condition_variable _isWorkThere;
    std::condition_variable _isRoomThere;
    std::thread _thread;  // the last member: it uses the others
};

}  // namespace KrRecording::detail
