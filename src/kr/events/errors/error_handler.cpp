#include "kr/events/errors/error_handler.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "kr/events/errors/error_events.h"
#include "kr/events/errors/error_handler_access.h"
#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_internal.h"
#include "kr/platform/guard.h"
#include "kr/platform/log_handler.h"
#include "kr/platform/log_line.h"
#include "kr/platform/process.h"
#include "kr/platform/runtime_error.h"
#include "kr/signals/snapshot_list.h"

namespace KrSim {

namespace {

constexpr double kSecondsBeforeFatalEnd = 3.0;
/// Listeners of a message may log: such messages are published too, up to this depth on one thread.
constexpr int kDeepestTelling = 8;

constexpr Kr::GuardTexts kListenerTexts{Kr::eLogLevel::kWarn, "KrErrorHandler: fatal error in '%s' listener() [%s]\n",
                                        "KrErrorHandler: unhandled exception in '%s' listener()\n",
                                        "listener of the log"};
constexpr Kr::GuardTexts kSendTexts{Kr::eLogLevel::kWarn, "KrErrorHandler: fatal error in '%s' sendEvent() [%s]\n",
                                    "KrErrorHandler: unhandled exception in '%s' sendEvent()\n", "sendEvent"};

// --- Listeners -----------------------------------------------------------------------------------------------------

using LogListeners = Kr::CallbackList<const std::string&>;

/// The listeners while the handler is installed. Threads that log share them, and may still notify them after that.
std::shared_ptr<LogListeners> makeListeners() {
    return {new LogListeners, [](LogListeners* listeners) { listeners->close(); }};
}

void notify(LogListeners& listeners, const std::string& text) {
    const LogListeners::Reader reader(&listeners);
    for (std::uint32_t i = 0; i < reader.size(); ++i) {
        const auto* function = reader[i];
        if (function == nullptr) continue;
        Kr::callGuarded(
            kListenerTexts, [] { return std::string("log"); }, [&] { (*function)(text); });
    }
}

// --- State ---------------------------------------------------------------------------------------------------------

/// Messages that this thread is handling, and those of them that are on their way through the sink.
thread_local int handlingDepth = 0;
class Publishing;
thread_local const Publishing* innermostPublishing = nullptr;

class Handling {
public:
    Handling() noexcept { ++handlingDepth; }
    Handling(const Handling&) = delete;
    Handling& operator=(const Handling&) = delete;
    ~Handling() { --handlingDepth; }

    [[nodiscard]] static bool isTold() noexcept { return handlingDepth <= kDeepestTelling; }
};

/// exit() must run once: a second fatal message, of another thread or of code that exit() runs, gives the first one the
/// same time again and then ends the process without further work.
[[noreturn]] void exitProcess(int status) {
    static std::atomic<bool> isExiting{false};
    if (!isExiting.exchange(true)) std::exit(status);
    Kr::SteadyClock::instance().sleep(kSecondsBeforeFatalEnd);
    std::_Exit(status);
}

/// An event manager through which messages are published.
struct Sink {
    explicit Sink(EventManager* itsManager) : manager(itsManager), internal(itsManager) {}

    EventManager* const manager;
    EventManagerInternal internal;
    int publishing{0};  // messages on their way through it, on all threads; under the lock of the state
};

/// Never destroyed: static objects may log while the process ends.
struct State {
    std::atomic<bool> isConsoleEnabled{true};
    std::atomic<bool> isNetworkDispatchEnabled{true};
    std::atomic<bool> isInstalled{false};  // changed under the lock
    std::atomic<Kr::IClock*> clock{nullptr};
    std::atomic<void (*)(int)> endProcess{nullptr};

    std::mutex mutex;  // guards the members below
    std::condition_variable publishingEnded;
    bool isOfApplications{false};  // installed by an application: the end of the last one removes the handler
    Kr::LogHandler previousHandler{nullptr};
    std::shared_ptr<LogListeners> listeners;
    std::shared_ptr<Sink> sink;                         // null: messages are not published
    std::vector<std::shared_ptr<Sink>> ofApplications;  // in the order of their making
    std::string lastDispatched;

    static State& instance() {
        static auto& state = *new State;
        return state;
    }

    [[nodiscard]] std::shared_ptr<LogListeners> getListeners() {
        const std::lock_guard lock(mutex);
        return listeners;
    }
    // Under the lock:

    /// \param put  installs LogHandler as the handler of the log; false: not installed.
    template <class Put>
    [[nodiscard]] bool install(const Put& put) {
        auto made = makeListeners();
        if (!put()) return false;
        listeners = std::move(made);
        isInstalled = true;
        return true;
    }
    /// The listeners are to be ended without the lock; null when the handler is not installed.
    [[nodiscard]] std::shared_ptr<LogListeners> uninstall() {
        if (!isInstalled.exchange(false)) return nullptr;
        isOfApplications = false;
        Kr::replaceLogHandler(&KrErrorHandler::LogHandler, std::exchange(previousHandler, nullptr));
        lastDispatched.clear();
        return std::move(listeners);
    }
    [[nodiscard]] bool isUsable(const std::shared_ptr<Sink>& each) const {
        return each == sink || std::find(ofApplications.begin(), ofApplications.end(), each) != ofApplications.end();
    }
};

/// One message on its way through the sink, which stays valid meanwhile; empty when the message is not to be sent.
class Publishing {
public:
    explicit Publishing(const std::string& text) {
        auto& state = State::instance();
        const std::lock_guard lock(state.mutex);
        if (!state.sink || text == state.lastDispatched) return;
        state.lastDispatched = text;
        _sink = state.sink;
        ++_sink->publishing;
        _outer = std::exchange(innermostPublishing, this);
    }
    Publishing(const Publishing&) = delete;
    Publishing& operator=(const Publishing&) = delete;
    ~Publishing() {
        if (!_sink) return;
        innermostPublishing = _outer;
        auto& state = State::instance();
        {
            const std::lock_guard lock(state.mutex);
            --_sink->publishing;
        }
        state.publishingEnded.notify_all();
    }

    /// Null when the message is not to be sent, and once a listener has taken the sink away.
    [[nodiscard]] EventManagerInternal* sink() const {
        auto& state = State::instance();
        const std::lock_guard lock(state.mutex);
        return _sink && state.isUsable(_sink) ? &_sink->internal : nullptr;
    }
    /// Messages of this thread are below the caller on the stack and cannot end before.
    [[nodiscard]] static int countHere(const Sink& sink) noexcept {
        int count = 0;
        for (const auto* each = innermostPublishing; each != nullptr; each = each->_outer)
            count += each->_sink.get() == &sink ? 1 : 0;
        return count;
    }

private:
    std::shared_ptr<Sink> _sink;
    const Publishing* _outer{nullptr};
};

/// Returns when no other thread publishes through it. It has been taken out of the state.
void waitFor(const std::shared_ptr<Sink>& sink, std::unique_lock<std::mutex>& lock) {
    if (!sink) return;
    const int here = Publishing::countHere(*sink);
    State::instance().publishingEnded.wait(lock, [&] { return sink->publishing <= here; });
}

void publish(Kr::eLogLevel level, const std::string& text, std::int64_t time) {
    const Publishing publishing(text);
    auto* sink = publishing.sink();
    if (sink == nullptr) return;
    EventData payload;
    payload << Kr::Process::getHostNameProcessID() << text << static_cast<int>(level) << time;
    // Each send also delivers what waited, and a listener at the dispatcher may throw: the message is still to be
    // filed.
    const auto nameOf = [] { return std::string(kErrorMessageEventName); };
    Kr::callGuarded(kSendTexts, nameOf,
                    [&] { detail::EventManagerAccess::publish(*sink, kErrorMessageEvent, payload); });
    if (!detail::ErrorHandlerAccess::isNetworkDispatchEnabled() && level > Kr::eLogLevel::kError) return;
    sink = publishing.sink();
    if (sink == nullptr) return;
    Kr::callGuarded(kSendTexts, nameOf, [&] { sink->sendEventRemotelyImmediately(kErrorMessageEvent, payload); });
}

void callListeners(const std::string& text) {
    if (!Handling::isTold()) return;
    if (const auto listeners = State::instance().getListeners()) notify(*listeners, text);
}

void endAfterFatal() {
    auto& state = State::instance();
    KrEventDispatcher::postUpdate();
    auto* clock = state.clock.load();
    (clock != nullptr ? *clock : static_cast<Kr::IClock&>(Kr::SteadyClock::instance())).sleep(kSecondsBeforeFatalEnd);
    const auto end = state.endProcess.load();
    (end != nullptr ? end : &exitProcess)(EXIT_FAILURE);
}

}  // namespace

// --- Installing ----------------------------------------------------------------------------------------------------

namespace {

void uninstallAtExit() {
    static const bool isArranged = std::atexit(&KrErrorHandler::Unregister) == 0;
    static_cast<void>(isArranged);
}

}  // namespace

void KrErrorHandler::Register() {
    uninstallAtExit();
    auto& state = State::instance();
    const std::lock_guard lock(state.mutex);
    state.isOfApplications = false;
    if (state.isInstalled) return;
    static_cast<void>(state.install([&] {
        const auto previous = Kr::LogSetHandler(&KrErrorHandler::LogHandler);
        // One that was left behind in the place of this handler is no other.
        state.previousHandler = previous != &KrErrorHandler::LogHandler ? previous : nullptr;
        return true;
    }));
}

void KrErrorHandler::Unregister() {
    auto& state = State::instance();
    std::shared_ptr<LogListeners> listeners;
    {
        const std::lock_guard lock(state.mutex);
        listeners = state.uninstall();
    }
    if (listeners) listeners->clear();
}

void KrErrorHandler::setEventManager(EventManager* manager) {
    // Made before the lock: it logs at error level when the manager is of another kind.
    if (manager != nullptr) _enterErrorEventNames();
    auto sink = manager != nullptr ? std::make_shared<Sink>(manager) : nullptr;
    auto& state = State::instance();
    std::unique_lock lock(state.mutex);
    std::swap(state.sink, sink);
    waitFor(sink, lock);
}

void detail::ErrorHandlerAccess::addApplication(EventManager& manager) {
    _enterErrorEventNames();
    uninstallAtExit();
    auto sink = std::make_shared<Sink>(&manager);
    auto& state = State::instance();
    const std::lock_guard lock(state.mutex);
    state.ofApplications.reserve(state.ofApplications.size() + 1);  // nothing fails half-way
    const auto replace = [](Kr::LogHandler other) { return Kr::replaceLogHandler(other, &KrErrorHandler::LogHandler); };
    if (!state.isInstalled)
        state.isOfApplications =
            state.install([&] { return replace(nullptr) || replace(&KrErrorHandler::LogHandler); });
    state.ofApplications.push_back(sink);
    state.sink = std::move(sink);
}

void detail::ErrorHandlerAccess::removeApplication(const EventManager& manager) {
    auto& state = State::instance();
    std::shared_ptr<LogListeners> listeners;  // destroyed after the lock
    std::unique_lock lock(state.mutex);
    const auto found = std::find_if(state.ofApplications.begin(), state.ofApplications.end(),
                                    [&](const auto& each) { return each->manager == &manager; });
    if (found == state.ofApplications.end()) return;
    const auto own = std::move(*found);
    state.ofApplications.erase(found);
    if (state.ofApplications.empty() && state.isOfApplications) listeners = state.uninstall();
    auto current = state.sink;  // another one for the same manager, when the host has set it
    if (current && current->manager == &manager) {
        state.sink = state.ofApplications.empty() ? nullptr : state.ofApplications.back();
        waitFor(current, lock);
    }
    waitFor(own, lock);
    lock.unlock();
    if (listeners) listeners->clear();
}

KrData::DelegateConnection KrErrorHandler::registerListener(Listener listener) {
    const auto listeners = State::instance().getListeners();
    return listeners && listener ? listeners->add(std::move(listener)) : KrData::DelegateConnection();
}

// --- A message -----------------------------------------------------------------------------------------------------

void KrErrorHandler::LogHandler(Kr::eLogLevel level, const char* format, std::va_list arguments) {
    if (level > Kr::LogGetLevel()) return;
    const Handling handling;
    const std::string text = Kr::formatLogText(level, format, arguments);
    const auto time = static_cast<std::int64_t>(std::time(nullptr));
    const std::string line = Kr::formatLogLine(time, text);
    const bool isInstalled = State::instance().isInstalled;
    if (isInstalled && Handling::isTold()) publish(level, text, time);
    Kr::printToLogFile(line);
    if (!isInstalled || isConsoleLogEnabled()) std::fwrite(line.data(), 1, line.size(), stderr);
    if (!isInstalled) return;
    if (level == Kr::eLogLevel::kError) {
        callListeners(text);
        throw KrRuntimeError(text);
    }
    if (level == Kr::eLogLevel::kFatal) {
        callListeners(text);
        endAfterFatal();
    }
}

// --- Switches ------------------------------------------------------------------------------------------------------

void KrErrorHandler::enableConsoleLog(bool enable) noexcept {
    State::instance().isConsoleEnabled.store(enable);
}

bool KrErrorHandler::isConsoleLogEnabled() noexcept {
    return State::instance().isConsoleEnabled.load();
}

void KrErrorHandler::setLogFile(const std::string& path) {
    Kr::setLogFile(path);
}

std::string KrErrorHandler::getLogFile() {
    return Kr::getLogFile();
}

void detail::ErrorHandlerAccess::enableNetworkDispatch(bool enable) noexcept {
    State::instance().isNetworkDispatchEnabled.store(enable);
}

bool detail::ErrorHandlerAccess::isNetworkDispatchEnabled() noexcept {
    return State::instance().isNetworkDispatchEnabled.load();
}

void detail::ErrorHandlerAccess::setFatalEnd(Kr::IClock* clock, void (*endProcess)(int status)) noexcept {
    State::instance().clock.store(clock);
    State::instance().endProcess.store(endProcess);
}

}  // namespace KrSim
