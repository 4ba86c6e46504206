#include "kr/events/event_listener.h"

#include <utility>

namespace KrSim {

EventListener::EventListener(Kr::KrSmartPtr<Kr::KrRefCount> registration) noexcept
    : _registration(std::move(registration)) {}

EventListener::~EventListener() = default;

void EventListener::unregister() noexcept {
    _registration.reset();
}

EventListenerList::~EventListenerList() {
    unregister();
}

EventListenerList& EventListenerList::operator<<(const EventListener& listener) {
    _listeners.push_back(listener);
    return *this;
}

void EventListenerList::unregister() noexcept {
    // Taken out first: what a callback owns may hold on to this list.
    std::vector<EventListener> dropped;
    dropped.swap(_listeners);
}

}  // namespace KrSim
