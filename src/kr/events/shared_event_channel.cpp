#include "kr/events/shared_event_channel.h"

#include "kr/events/sim_event.h"

namespace KrSim {
namespace {
constexpr std::size_t kBytesBesidePayload = 12;
}  // namespace

SharedEventChannel::SharedEventChannel(const Kr::IClock& clock) : _clock(clock) {}

SharedEventChannel::~SharedEventChannel() = default;

void SharedEventChannel::sendEvent(const KrSimEvent& event) {
    _sendEvent(event);
    if (isDebuggingEnabled()) _count(_sent, {&event, 1});
}

void SharedEventChannel::sendEvents(std::span<const KrSimEvent> events) {
    _sendEvents(events);
    if (isDebuggingEnabled()) _count(_sent, events);
}

void SharedEventChannel::receiveEvents(std::vector<KrSimEvent>& batch) {
    const std::size_t before = batch.size();
    _receiveEvents(batch);
    if (!isDebuggingEnabled() || batch.size() <= before) return;
    _count(_received, std::span(batch).subspan(before));
    const double now = _clock.getSeconds();
    const std::lock_guard lock(_mutex);
    _lastReceiveSeconds = now;
}

EventTraffic SharedEventChannel::getSentTraffic(int id) const {
    return _find(_sent, id);
}

EventTraffic SharedEventChannel::getReceivedTraffic(int id) const {
    return _find(_received, id);
}

double SharedEventChannel::getLastReceiveSeconds() const {
    const std::lock_guard lock(_mutex);
    return _lastReceiveSeconds;
}

void SharedEventChannel::_count(Traffic& traffic, std::span<const KrSimEvent> events) {
    const std::lock_guard lock(_mutex);
    for (const auto& event : events) {
        auto& entry = traffic[event.ID()];
        ++entry.events;
        entry.bytes += event.bytes() + event.sender().size() + kBytesBesidePayload;
    }
}

EventTraffic SharedEventChannel::_find(const Traffic& traffic, int id) const {
    const std::lock_guard lock(_mutex);
    const auto entry = traffic.find(id);
    return entry != traffic.end() ? entry->second : EventTraffic();
}

}  // namespace KrSim
