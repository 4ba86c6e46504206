#include "kr/events/errors/error_manager.h"

#include <cstdint>
#include <memory>
#include <utility>

#include "kr/events/errors/error_events.h"
#include "kr/events/errors/error_handler.h"
#include "kr/events/errors/error_handler_access.h"
#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/events/event_listener.h"
#include "kr/events/event_manager.h"
#include "kr/platform/guard.h"
#include "kr/platform/process.h"
#include "kr/signals/listener_list.h"

namespace KrSim {

namespace {

constexpr Kr::GuardTexts kOnMessageTexts{Kr::eLogLevel::kWarn, "ErrorManager: fatal error in '%s' onMessage() [%s]\n",
                                         "ErrorManager: unhandled exception in '%s' onMessage()\n", "onMessage"};

bool isForThisApplication(const std::string& target) {
    return target.empty() || target == Kr::Process::getHostNameProcessID();
}

/// A level from outside: numbers that are no level are brought to the nearest one.
Kr::eLogLevel toLevel(int number) {
    using Kr::eLogLevel;
    const int lowest = static_cast<int>(eLogLevel::kOff);
    const int highest = static_cast<int>(eLogLevel::kAll);
    return static_cast<eLogLevel>(number < lowest ? lowest : number > highest ? highest : number);
}

bool readValue(const EventData& data, std::string& text) {
    return detail::EventDataAccess::readWholeText(data, text);
}
template <EventScalar T>
bool readValue(const EventData& data, T& value) {
    if (detail::EventDataAccess::unread(data) < sizeof value) return false;
    data >> value;
    return true;
}

/// False, and a warning logged, when the payload ends before the last value. Lengths from outside are held against what
/// is left before anything is read.
template <class... T>
bool readWhole(const char* name, const EventData& data, T&... values) {
    if ((readValue(data, values) && ...)) return true;
    Kr::logMessage(Kr::eLogLevel::kWarn, "ErrorManager: the event '%s' has too short a payload and is ignored\n", name);
    return false;
}

}  // namespace

ErrorManager::Listener::~Listener() = default;

class ErrorManager::Implementation {
public:
    using Listeners = Kr::ListenerList<Listener>;

    explicit Implementation(EventManager* manager) {
        if (manager == nullptr) return;
        _enterErrorEventNames();
        // The callback shares the listeners: one of them may destroy the error manager and its owner.
        _subscriptions << manager->registerListener(
                              kErrorMessageEvent,
                              [listeners = _listeners](const EventData& data) { _onMessage(*listeners, data); })
                       << manager->registerListener(kSetLogLevelEvent, &_onSetLogLevel)
                       << manager->registerListener(kEnableNetworkDispatchEvent, &_onEnableNetworkDispatch);
    }
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;
    ~Implementation() { _listeners->clear(); }

    [[nodiscard]] Listeners& getListeners() const noexcept { return *_listeners; }

private:
    static void _onMessage(const Listeners& listeners, const EventData& data) {
        std::string sender;
        std::string text;
        int level = 0;
        std::int64_t time = 0;
        if (!readWhole(kErrorMessageEventName, data, sender, text, level, time)) return;
        for (Listeners::Delivery delivery(listeners); auto* listener = delivery.nextByAddress();) {
            Kr::callGuarded(
                kOnMessageTexts, [&] { return sender; },
                [&] { listener->onMessage(Listener::kLogMessage, toLevel(level), text, sender, time); });
        }
    }

    static void _onSetLogLevel(const EventData& data) {
        int level = 0;
        std::string target;
        // An event that is cut before its target must not count as sent to all.
        if (!readWhole(kSetLogLevelEventName, data, level, target)) return;
        if (isForThisApplication(target)) Kr::LogSetLevel(toLevel(level));
    }

    static void _onEnableNetworkDispatch(const EventData& data) {
        bool enable = false;
        std::string target;
        if (!readWhole(kEnableNetworkDispatchEventName, data, enable, target)) return;
        if (isForThisApplication(target)) detail::ErrorHandlerAccess::enableNetworkDispatch(enable);
    }

    const std::shared_ptr<Listeners> _listeners = std::make_shared<Listeners>();
    EventListenerList _subscriptions;
};

ErrorManager::ErrorManager(EventManager* manager)
    : _implementation(std::make_unique<Implementation>(manager)), _eventManager(manager) {}

ErrorManager::~ErrorManager() = default;

void ErrorManager::registerListener(Listener* listener) {
    _implementation->getListeners().add(listener);
}

KrData::DelegateConnection ErrorManager::holdListener(std::shared_ptr<Listener> listener) {
    return _implementation->getListeners().hold(std::move(listener));
}

void ErrorManager::unregisterListener(Listener* listener) {
    _implementation->getListeners().remove(listener);
}

void ErrorManager::setLogLevel(Kr::eLogLevel level, const std::string& target) {
    if (_eventManager != nullptr && target != Kr::Process::getHostNameProcessID()) {
        EventData payload;
        payload << static_cast<int>(level) << target;
        _eventManager->sendEvent(kSetLogLevelEvent, payload);
    }
    if (isForThisApplication(target)) Kr::LogSetLevel(level);
}

Kr::eLogLevel ErrorManager::getLogLevel() const {
    return Kr::LogGetLevel();
}

void ErrorManager::enableNetworkDispatch(bool enable, const std::string& target) {
    if (_eventManager != nullptr && target != Kr::Process::getHostNameProcessID()) {
        EventData payload;
        payload << enable << target;
        _eventManager->sendEvent(kEnableNetworkDispatchEvent, payload);
    }
    if (isForThisApplication(target)) detail::ErrorHandlerAccess::enableNetworkDispatch(enable);
}

bool ErrorManager::isNetworkDispatchEnabled() const {
    return detail::ErrorHandlerAccess::isNetworkDispatchEnabled();
}

}  // namespace KrSim
