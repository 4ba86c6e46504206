#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kr/events/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/log.h"
#include "kr/signals/delegate_connection.h"

namespace KrSim {

/// Notifies observers of the log messages of all applications, and sets the log level and the network dispatch of one
/// of them or of all. Messages come while KrErrorHandler publishes them (setEventManager).
///
/// A target is the sender name of an application (Kr::Process::getHostNameProcessID()); an empty one means all.
/// Thread: any. Listeners run where the dispatcher delivers queued events: on the application's thread.
/// Ownership: the manager is borrowed and must outlive this; listeners are borrowed and unregister before they die. A
/// listener may destroy this: the others are not called any more.
class KR_API ErrorManager {
public:
    class Listener;

    explicit ErrorManager(EventManager* manager);
    ErrorManager(const ErrorManager&) = delete;
    ErrorManager& operator=(const ErrorManager&) = delete;
    virtual ~ErrorManager();

    /// Null is ignored; registering twice is registering once. Listeners are called in the order of their addresses.
    /// docs/notification.md has the rules of a delivery.
    void registerListener(Listener* listener);
    void unregisterListener(Listener* listener);
    /// The same for a listener that is shared, and may be given up on any thread: it lives until the handle ends the
    /// registration and the calls under way have ended. An empty handle when it is registered already.
    [[nodiscard]] KrData::DelegateConnection holdListener(std::shared_ptr<Listener> listener);

    /// Sets the threshold of the log: here now, elsewhere when the event arrives.
    void setLogLevel(Kr::eLogLevel level, const std::string& target);
    [[nodiscard]] Kr::eLogLevel getLogLevel() const;
    /// Whether messages below error level go to other applications; error and fatal ones always do.
    void enableNetworkDispatch(bool enable, const std::string& target);
    [[nodiscard]] bool isNetworkDispatchEnabled() const;

private:
    class Implementation;

    std::unique_ptr<Implementation> _implementation;
    EventManager* _eventManager;
};

/// Receives log messages. One registered during a delivery receives the next message; one unregistered no more.
class KR_API ErrorManager::Listener {
public:
    static constexpr int kLogMessage = 1;

    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    virtual ~Listener();

    /// \param kind    kLogMessage.
    /// \param sender  the application that logged; compare with one's own name.
    /// \param time    seconds since 1970-01-01 UTC.
    virtual void onMessage(int kind, Kr::eLogLevel level, const std::string& message, const std::string& sender,
                           std::int64_t time) = 0;
};

}  // namespace KrSim
