#pragma once

#include <cstddef>
#include <vector>

#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Handle on a registration. The callback is called as long as a handle on it lives; copies share the registration.
///
/// Thread: handles of one registration may live on many threads; one handle is no safer than a plain pointer. The
/// thread that drops the last one destroys the callback, or the delivery under way does, at its end.
class KR_API EventListener {
public:
    /// Empty.
    EventListener() noexcept = default;
    /// Internal to managers: shares the registration record; null gives an empty handle.
    explicit EventListener(Kr::KrSmartPtr<Kr::KrRefCount> registration) noexcept;
    EventListener(const EventListener&) noexcept = default;
    EventListener(EventListener&&) noexcept = default;
    EventListener& operator=(const EventListener&) noexcept = default;
    EventListener& operator=(EventListener&&) noexcept = default;
    ~EventListener();

    /// Drops this handle's part in the registration; it is empty afterwards. Destruction does the same.
    void unregister() noexcept;
    [[nodiscard]] bool isEmpty() const noexcept { return _registration == nullptr; }

private:
    Kr::KrSmartPtr<Kr::KrRefCount> _registration;
};

/// The subscriptions of an owner in one member: they end with it.
class KR_API EventListenerList {
public:
    EventListenerList() noexcept = default;
    EventListenerList(const EventListenerList&) = default;
    EventListenerList(EventListenerList&&) noexcept = default;
    EventListenerList& operator=(const EventListenerList&) = default;
    EventListenerList& operator=(EventListenerList&&) noexcept = default;
    ~EventListenerList();

    EventListenerList& operator<<(const EventListener& listener);
    /// Drops all handles. Callbacks destroyed with them may append new ones, which stay.
    void unregister() noexcept;
    [[nodiscard]] std::size_t size() const noexcept { return _listeners.size(); }

private:
    std::vector<EventListener> _listeners;
};

}  // namespace KrSim
