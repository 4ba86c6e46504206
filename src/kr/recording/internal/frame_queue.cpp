#include "kr/recording/internal/frame_queue.h"

#include <algorithm>
#include <chrono>
#include <exception>

namespace KrRecording::detail {
namespace {

using Clock = std::chrono::steady_clock;

/// The thread looks for frames so often, so that handing one over need not wake it.
constexpr std::chrono::milliseconds kLook{5};

}  // namespace

FrameQueue::FrameQueue(IFrameSink& sink, std::size_t capacity)
    : _sink(sink), _frames(std::max<std::size_t>(capacity, 2)), _thread([this] { _run(); }) {}

FrameQueue::~FrameQueue() {
    stop();
}

RecordedFrame* FrameQueue::begin(bool mayWait) {
    if (hasFailed()) return nullptr;
    if (_getWaitingCount() == _frames.size()) {
        if (!mayWait) return nullptr;
        std::unique_lock lock(_mutex);
        _isWorkThere.notify_one();
        _isRoomThere.wait(lock, [this] { return hasFailed() || _getWaitingCount() <= _frames.size() / 2; });
        if (hasFailed()) return nullptr;
    }
    return &_frames[_handedOver.load(std::memory_order_relaxed) % _frames.size()];
}

void FrameQueue::end() {
    _handedOver.fetch_add(1, std::memory_order_release);
    if (_getWaitingCount() == _frames.size() / 2 + 1) _isWorkThere.notify_one();
}

void FrameQueue::stop() {
    if (!_thread.joinable()) return;
    {
        const std::lock_guard lock(_mutex);
        _isStopping.store(true, std::memory_order_release);
    }
    _isWorkThere.notify_one();
    _thread.join();
}

std::size_t FrameQueue::_getWaitingCount() const noexcept {
    return static_cast<std::size_t>(_handedOver.load(std::memory_order_acquire) -
                                    _written.load(std::memory_order_acquire));
}

bool FrameQueue::_writeWaiting() {
    while (_getWaitingCount() != 0) {
        const auto number = _written.load(std::memory_order_relaxed);
        if (!_sink.write(_frames[number % _frames.size()])) return false;
        _written.store(number + 1, std::memory_order_release);
        if (!_flushWhenDue()) return false;
    }
    return _flushWhenDue();
}

bool FrameQueue::_flushWhenDue() {
    constexpr std::chrono::duration<double> kFlush(kFlushSeconds);
    const auto now = Clock::now();
    if (now - _lastFlush < kFlush) return true;
    _lastFlush = now;
    return _sink.flush();
}

void FrameQueue::_run() {
    _lastFlush = Clock::now();
    bool isGood = true;
    bool isStopping = false;
    while (isGood && !isStopping) {
        isStopping = _isStopping.load(std::memory_order_acquire);  // before what was handed over until then is written
        try {
            isGood = _writeWaiting();
        } catch (const std::exception&) {
            isGood = false;  // for want of memory
        }
        std::unique_lock lock(_mutex);
        if (!isGood) _hasFailed.store(true, std::memory_order_relaxed);
        _isRoomThere.notify_one();
        if (isGood && !isStopping && _getWaitingCount() <= _frames.size() / 2) _isWorkThere.wait_for(lock, kLook);
    }
}

}  // namespace KrRecording::detail
