#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "kr/platform/export.h"
#include "kr/platform/guard.h"
#include "kr/platform/smart_ptr.h"
#include "kr/signals/delegate_connection.h"

namespace Kr {

namespace detail {

class ListenerRegistry;

/// The common part of lists of all kinds of listeners.
/// Thread: see ListenerList. Ownership: see ListenerList.
class KR_API ListenerListBase {
public:
    ListenerListBase() noexcept = default;
    ListenerListBase(const ListenerListBase&) = delete;
    ListenerListBase& operator=(const ListenerListBase&) = delete;
    ~ListenerListBase();

    /// Ends every registration.
    void clear() noexcept;

protected:
    class KR_API Cursor {
    public:
        explicit Cursor(const ListenerListBase& list) noexcept;
        Cursor(const Cursor&) = delete;
        Cursor& operator=(const Cursor&) = delete;
        ~Cursor();

        void* next() noexcept;
        void* nextByAddress() noexcept;
        [[nodiscard]] bool isStillListed() const noexcept;
        [[nodiscard]] const std::shared_ptr<void>& held() const noexcept { return _held; }

    private:
        KrSmartPtr<ListenerRegistry> _registry;
        void* _current{nullptr};
        std::shared_ptr<void> _held;  // keeps the current listener, when it was registered by a handle
        std::uint64_t _number{0};     // of the registration of the current one
        std::uint64_t _end{0};
    };

    bool _add(void* listener, std::shared_ptr<void> held);
    bool _remove(void* listener) noexcept;
    [[nodiscard]] KrData::DelegateConnection _hold(std::shared_ptr<void> listener);

private:
    [[nodiscard]] ListenerRegistry& _makeRegistry();

    std::atomic<ListenerRegistry*> _registry{nullptr};  // made by the first registration
};

}  // namespace detail

/// The listeners of an object, called in the order of their registration. Listeners may be registered and unregistered,
/// and the list may be destroyed, during a delivery; rules: docs/notification.md.
///
/// Thread: any. No lock is held over a call. Calling and removing allocate nothing, so that destructors may do both.
/// Ownership: a plain pointer is borrowed: remove it before it dies, on the thread that notifies. Register a listener
/// that dies on another thread by hold().
template <class Listener>
class ListenerList : public detail::ListenerListBase {
public:
    /// One delivery, for callers to which notify() does not suffice. On the stack.
    class Delivery : private detail::ListenerListBase::Cursor {
    public:
        explicit Delivery(const ListenerList& list) noexcept : Cursor(list) {}

        /// The next listener that was registered when the delivery began and still is; null at the end, and after the
        /// list has died.
        [[nodiscard]] Listener* next() noexcept { return static_cast<Listener*>(Cursor::next()); }
        /// The same in the order of addresses. Use only one of the two orders in a delivery.
        [[nodiscard]] Listener* nextByAddress() noexcept { return static_cast<Listener*>(Cursor::nextByAddress()); }
        /// Whether the listener that next() returned last is still registered.
        using Cursor::isStillListed;
        /// A holder of the same listener; null when it is borrowed.
        [[nodiscard]] std::shared_ptr<Listener> held() const noexcept {
            return std::static_pointer_cast<Listener>(Cursor::held());
        }
    };

    /// False for null, and when it is listed already.
    bool add(Listener* listener) { return _add(listener, nullptr); }
    /// The same for a listener that is held until its registration and all calls in progress have ended.
    bool add(std::shared_ptr<Listener> listener) {
        auto* const address = listener.get();
        return _add(address, std::move(listener));
    }
    /// Whether it was listed.
    bool remove(Listener* listener) noexcept { return _remove(listener); }
    /// As add, with a handle that ends the registration. An empty handle for null, and when it is listed already.
    [[nodiscard]] KrData::DelegateConnection hold(std::shared_ptr<Listener> listener) {
        return _hold(std::move(listener));
    }

    /// Calls the function with each listener through the guard: an exception is logged and does not stop the others.
    template <class NameOf, class Call>
    void notify(const GuardTexts& texts, const NameOf& nameOf, const Call& call) const noexcept {
        for (Delivery delivery(*this); auto* listener = delivery.next();)
            callGuarded(texts, nameOf, [&] { call(*listener); });
    }
};

}  // namespace Kr
