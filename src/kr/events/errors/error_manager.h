#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kr/events/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/log.h"
#include "kr/signals/delegate_connection.h"

namespace KrSim {

/// Notifies listeners of the log messages of all applications, and sets the log level and the network dispatch of one
/// of them or of all. Messages arrive while KrErrorHandler publishes them (setEventManager).
///
/// A target is the sender name of an application (Kr::Process::getHostNameProcessID()); an empty one means all.
/// Thread: any. Listeners run where the dispatcher delivers queued events: on the application's thread.
/// Ownership: the manager is borrowed and must outlive this; listeners are borrowed, so unregister each before it dies.
/// A listener may destroy this: the remaining listeners are not called then.
class KR_API ErrorManager {
public:
    class Listener;

    explicit ErrorManager(EventManager* manager);  ///< Null gives a manager whose listeners are never called.
    ErrorManager(const ErrorManager&) = delete;
    ErrorManager& operator=(const ErrorManager&) = delete;
    virtual ~ErrorManager();

    /// Ignores null and a listener that is registered already. Listeners are called in the order of their addresses.
    /// Rules of a delivery: docs/notification.md.
    void registerListener(Listener* listener);
    /// Ignores null and a listener that is not registered. A call in progress on another thread may still finish.
    void unregisterListener(Listener* listener);
    /// The same for a shared listener, which may be released on any thread: it lives until the handle ends the
    /// registration and the calls in progress have ended. An empty handle when it is registered already.
    [[nodiscard]] KrData::DelegateConnection holdListener(std::shared_ptr<Listener> listener);

    /// Sets the threshold of the log: in this process immediately, elsewhere when the event arrives.
    void setLogLevel(Kr::eLogLevel level, const std::string& target);
    /// The threshold of this process.
    [[nodiscard]] Kr::eLogLevel getLogLevel() const;
    /// Whether messages below error level are sent to other applications; error and fatal ones always are.
    void enableNetworkDispatch(bool enable, const std::string& target);
    [[nodiscard]] bool isNetworkDispatchEnabled() const;  ///< Of this process.

private:
    class Implementation;

    std::unique_ptr<Implementation> _implementation;
    EventManager* _eventManager;
};

/// Receives log messages. A listener registered during a delivery receives the next message; one unregistered during it
/// receives no more.
/// Thread: application. Ownership: borrowed by the manager.
class KR_API ErrorManager::Listener {
public:
    static constexpr int kLogMessage = 1;

    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    virtual ~Listener();

    /// \param kind    kLogMessage.
    /// \param sender  the sender name of the application that logged.
    /// \param time    seconds since 1970-01-01 UTC.
    virtual void onMessage(int kind, Kr::eLogLevel level, const std::string& message, const std::string& sender,
                           std::int64_t time) = 0;
};

}  // namespace KrSim
