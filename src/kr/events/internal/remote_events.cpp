#include "kr/events/internal/remote_events.h"

#include <cstddef>
#include <utility>

#include "kr/events/event_access.h"
#include "kr/events/event_id_list.h"
#include "kr/events/internal/event_numbers.h"
#include "kr/events/shared_event_channel.h"
#include "kr/events/sim_event.h"
#include "kr/platform/guard.h"

namespace KrSim::detail {
namespace {

constexpr Kr::GuardTexts kSendTexts{Kr::eLogLevel::kWarn, "KrEventDispatcher: fatal error in '%s' sendEvents() [%s]\n",
                                    "KrEventDispatcher: unhandled exception in '%s' sendEvents()\n", "sendEvents"};
constexpr Kr::GuardTexts kReceiveTexts{
    Kr::eLogLevel::kWarn, "KrEventDispatcher: fatal error in '%s' receiveEvents() [%s]\n",
    "KrEventDispatcher: unhandled exception in '%s' receiveEvents()\n", "receiveEvents"};
const char* nameOfChannel() {
    return "SharedEventChannel";
}

}  // namespace

void RemoteEvents::setChannel(std::shared_ptr<SharedEventChannel> channel) {
    const bool isNew = channel != nullptr;
    {
        const std::lock_guard lock(_channelMutex);
        _hasChannel.store(isNew, std::memory_order_release);
        std::swap(_channel, channel);  // the old one dies after the lock
    }
    if (isNew) EventNamesAccess::publishAllAgain();
}

std::shared_ptr<SharedEventChannel> RemoteEvents::getChannel() {
    if (!_hasChannel.load(std::memory_order_acquire)) return nullptr;
    const std::lock_guard lock(_channelMutex);
    return _channel;
}

void RemoteEvents::queue(const KrSimEvent& event) {
    const std::lock_guard lock(_queueMutex);
    _queue.events.push_back(event);
    _hasQueued.store(true, std::memory_order_relaxed);
}

void RemoteEvents::sendQueued() {
    if (!_hasQueued.load(std::memory_order_relaxed)) return;
    EventBatch batch;
    {
        const std::lock_guard lock(_queueMutex);
        _hasQueued.store(false, std::memory_order_relaxed);
        batch = _queue.take();
    }
    if (const auto channel = getChannel(); channel && !batch.empty()) {
        Kr::callGuarded(kSendTexts, nameOfChannel, [&] { channel->sendEvents(batch); });
    }
    batch.clear();
    const std::lock_guard lock(_queueMutex);
    _queue.giveBack(batch);
}

void RemoteEvents::sendNow(const KrSimEvent& event) {
    if (const auto channel = getChannel()) {
        Kr::callGuarded(kSendTexts, nameOfChannel, [&] { channel->sendEvent(event); });
    }
}

void RemoteEvents::receive(EventBatch& batch) {
    const auto channel = getChannel();
    if (!channel) return;
    const std::size_t before = batch.size();
    Kr::callGuarded(kReceiveTexts, nameOfChannel, [&] { channel->receiveEvents(batch); });
    for (std::size_t i = before; i < batch.size(); ++i) {
        const KrSimEvent& event = batch[i];
        if (event.ID() == kPublishNumber) {
            EventNamesAccess::learnNames(event.constData(), event.bytes(), event.sender());
        }
    }
}

void RemoteEvents::publishNames() {
    const auto channel = getChannel();
    if (!channel) return;
    const auto names = EventNamesAccess::takeNamesToPublish();
    if (names.empty()) return;
    const KrSimEvent event(kPublishNumber, names);
    if (!Kr::callGuarded(kSendTexts, nameOfChannel, [&] { channel->sendEvent(event); })) {
        EventNamesAccess::publishAllAgain();
    }
}

}  // namespace KrSim::detail
