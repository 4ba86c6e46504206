#pragma once

#include <cstdarg>
#include <functional>
#include <string>

#include "kr/events/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/log.h"
#include "kr/signals/delegate_connection.h"

namespace KrSim {

/// The log handler of applications: it publishes each log message as an event, writes it to the log file and the
/// console, and throws or ends the process at the two most severe levels.
///
/// While it is installed, an error-level message throws KrRuntimeError to the caller that logs, and a fatal one ends
/// the process with status 1 three seconds after it was published. Every message is written and printed before that.
/// Consecutive repeats of one message are published once. Listeners may log: such messages are published too, up to
/// eight deep on one thread. An exception of a listener is logged as a warning.
/// Thread: any; setEventManager and Register on the application's thread. No lock is held over an event or a listener.
/// Ownership: the event manager is borrowed, handles own their listeners.
///
/// An application installs it when it is created, if the default handler of the log is installed then; it stays until
/// the last application has ended. A handler that a host has installed, this one or its own, is not replaced.
class KR_API KrErrorHandler {
public:
    using Listener = std::function<void(const std::string&)>;

    KrErrorHandler() = delete;

    /// Installs LogHandler as the handler of the log and keeps the previous one. When it is installed already, for
    /// example by an application, it stays until Unregister.
    static void Register();
    /// Ends all listeners and installs the previous handler again, unless another handler was installed since. Runs at
    /// process exit at the latest.
    static void Unregister();
    /// The handler itself, for another handler that forwards messages. While it is not installed it only writes them to
    /// the log file and the console.
    static void LogHandler(Kr::eLogLevel level, const char* format, std::va_list arguments);

    /// Publishes messages through this manager from now on; null stops that. Call it with null before the manager dies:
    /// it returns when no other thread is publishing through the old manager any more.
    static void setEventManager(EventManager* manager);
    /// Calls `listener` with the text (level prefix and line feed included) of each error and fatal message, on the
    /// thread that logs. An empty handle when the handler is not installed or the listener is empty.
    [[nodiscard]] static KrData::DelegateConnection registerListener(Listener listener);

    /// Whether lines also go to the standard error stream; initially they do.
    static void enableConsoleLog(bool enable) noexcept;
    [[nodiscard]] static bool isConsoleLogEnabled() noexcept;
    /// Calls Kr::setLogFile: lines are appended from the next one on; empty closes the file.
    static void setLogFile(const std::string& path);
    [[nodiscard]] static std::string getLogFile();
};

}  // namespace KrSim
