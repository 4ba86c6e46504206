#pragma once

#include <cstddef>
#include <vector>

#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Handle of a registration. The callback is called as long as one of its handles lives; copies share the registration.
///
/// Thread: handles of one registration may be used on several threads, one handle as a plain pointer. The callback is
/// destroyed by the thread that drops the last handle, or by the delivery in progress at its end.
/// Ownership: shared by the copies.
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

    /// Drops this handle's share of the registration; the handle is empty afterwards. Destruction does the same.
    void unregister() noexcept;
    [[nodiscard]] bool isEmpty() const noexcept { return _registration == nullptr; }

private:
    Kr::KrSmartPtr<Kr::KrRefCount> _registration;
};

/// The subscriptions of an owner in one member: they end with the owner.
/// Thread: one at a time. Ownership: owns the handles.
class KR_API EventListenerList {
public:
    EventListenerList() noexcept = default;
    EventListenerList(const EventListenerList&) = default;
    EventListenerList(EventListenerList&&) noexcept = default;
    EventListenerList& operator=(const EventListenerList&) = default;
    EventListenerList& operator=(EventListenerList&&) noexcept = default;
    ~EventListenerList();

    /// Appends a copy of the handle.
    EventListenerList& operator<<(const EventListener& listener);
    /// Drops all handles. Callbacks that are destroyed with them may append new handles, which stay.
    void unregister() noexcept;
    [[nodiscard]] std::size_t size() const noexcept { return _listeners.size(); }

private:
    std::vector<EventListener> _listeners;
};

}  // namespace KrSim
