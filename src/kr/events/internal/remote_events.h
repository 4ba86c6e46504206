#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "kr/events/internal/local_queues.h"

namespace KrSim::detail {

/// The connection to other applications: the channel, and the events that wait for the end of the frame.
///
/// Thread: any. The channel is called without a lock; its exceptions are logged as warnings.
class RemoteEvents {
public:
    /// Null for none. The other side of a new channel knows no event names: all of them are published again.
    void setChannel(std::shared_ptr<SharedEventChannel> channel);
    [[nodiscard]] std::shared_ptr<SharedEventChannel> getChannel();
    [[nodiscard]] bool hasChannel() const noexcept { return _hasChannel.load(std::memory_order_relaxed); }

    void queue(const KrSimEvent& event);
    /// Passes the queue to the channel as one batch; without a channel the batch is dropped.
    void sendQueued();
    void sendNow(const KrSimEvent& event);
    /// Appends the events that the channel has received, after learning the event names in them.
    void receive(EventBatch& batch);
    /// One publishing step. The names precede the queued events; without a channel they wait.
    void publishNames();

private:
    std::mutex _queueMutex;  // guards the next member
    EventBuffer _queue;
    std::atomic<bool> _hasQueued{false};  // written under the lock, read without it: most frames send nothing

    std::mutex _channelMutex;  // guards the next member
    std::shared_ptr<SharedEventChannel> _channel;
    std::atomic<bool> _hasChannel{false};  // whether that is not null
};

}  // namespace KrSim::detail
