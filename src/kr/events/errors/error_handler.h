#pragma once

#include <cstdarg>
#include <functional>
#include <string>

#include "kr/events/fwd.h"
#include "kr/platform/clock.h"
#include "kr/platform/export.h"
#include "kr/platform/log.h"
#include "kr/signals/delegate_connection.h"

namespace KrSim {

/// What happens to a log message: it is published as an event, filed, printed, and at the two gravest levels acted
/// upon.
///
/// While it is installed, an error-level message throws KrRuntimeError to the caller that logs, and a fatal one ends
/// the process with status 1 three seconds after it was published. Every message is filed and printed before that.
/// Consecutive repeats of one message are published once. Listeners may log: such messages are published too, up to
/// eight deep on one thread. What they throw is logged as a warning. Thread: any; setEventManager and Register on the
/// thread that runs the application. No lock is held over an event or a listener.
///
/// An application installs it when it is created, if the default handler of the log is in place then; it stays until
/// the last application has ended. What a host has installed, this handler or one of its own, stays as it is.
class KR_API KrErrorHandler {
public:
    using Listener = std::function<void(const std::string&)>;

    KrErrorHandler() = delete;

    /// Installs LogHandler as the handler of the log, keeping the one before. When it is installed, by an application
    /// for example, it only stays until Unregister.
    static void Register();
    /// Ends all listeners and puts the handler before back, unless another handler was installed since. Runs at process
    /// exit at the latest.
    static void Unregister();
    /// The handler itself, for another handler that passes messages on. While it is not installed it files and prints
    /// them, and does nothing else.
    static void LogHandler(Kr::eLogLevel level, const char* format, std::va_list arguments);

    /// Publishes messages through this manager from now on; null stops that. Before the manager dies, call it with
    /// null: it returns when no other thread is publishing through the old manager any more.
    static void setEventManager(EventManager* manager);
    /// The same for the manager of an application that begins, and installs the handler in place of the default one.
    /// When the application that publishes ends, the one that was made last before it does so again.
    static void _addApplication(EventManager& manager);
    static void _removeApplication(const EventManager& manager);
    /// Calls `listener` with the text (level prefix and line feed included) of each error and fatal message, on the
    /// thread that logs. An empty handle when the handler is not installed or the listener is empty.
    [[nodiscard]] static KrData::DelegateConnection registerListener(Listener listener);

    /// Whether lines also go to the standard error stream; they do at first.
    static void enableConsoleLog(bool enable) noexcept;
    [[nodiscard]] static bool isConsoleLogEnabled() noexcept;
    /// Kr::setLogFile: appended to from the next line on; empty closes it.
    static void setLogFile(const std::string& path);
    [[nodiscard]] static std::string getLogFile();

    /// Whether messages below error level go to other applications; error and fatal ones always do.
    static void _enableNetworkDispatch(bool enable) noexcept;
    [[nodiscard]] static bool _isNetworkDispatchEnabled() noexcept;
    /// Replaces the clock of the three seconds and the end of the process after a fatal message; null restores.
    static void _setFatalEnd(Kr::IClock* clock, void (*endProcess)(int status)) noexcept;
};

}  // namespace KrSim
