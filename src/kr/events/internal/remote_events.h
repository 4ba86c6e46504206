#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "kr/events/internal/local_queues.h"

namespace KrSim::detail {

/// The way to other applications: the channel, and the events that wait for the end of the frame.
///
/// Thread: any. The channel is called without a lock; what it throws is logged as a warning.
class RemoteEvents {
public:
    /// Null for none. The other side of a new channel knows no event names yet: all of them are published again.
    void setChannel(std::shared_ptr<SharedEventChannel> channel);
    [[nodiscard]] std::shared_ptr<SharedEventChannel> getChannel();
    [[nodiscard]] bool hasChannel() const noexcept { return _hasChannel.load(std::memory_order_relaxed); }

    void queue(const KrSimEvent& event);
    /// Hands the queue to the channel as one batch; without a channel the batch is dropped.
    void sendQueued();
    void sendNow(const KrSimEvent& event);
    /// Appends what the channel has received, after learning the event names in it.
    void receive(EventBatch& batch);
    /// One publishing step. The names go ahead of the events that are queued; without a channel they wait.
    void publishNames();

private:
    std::mutex _queueMutex;  // guards the next member
    EventBuffer _queue;

    std::mutex _channelMutex;  // guards the next member
    std::shared_ptr<SharedEventChannel> _channel;
    std::atomic<bool> _hasChannel{false};  // whether that is not null
};

}  // namespace KrSim::detail
