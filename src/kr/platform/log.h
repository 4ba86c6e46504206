#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

#include "kr/platform/export.h"

namespace Kr {

/// Level of a message and threshold of the log; a lower number is more severe.
enum class eLogLevel : std::int32_t { kOff, kFatal, kError, kWarn, kInfo, kDebug, kTrace, kAll };

/// Receives every message that passes the threshold, on the thread that logs. It may throw: the exception reaches the
/// caller of logMessage. The argument list is valid for one pass and only during the call.
using LogHandler = void (*)(eLogLevel level, const char* format, std::va_list arguments);

/// Installs the one handler of the process and returns the previous one, which is never null, so that a handler can
/// forward messages. Null restores the default handler: it appends the log line to the log file and prints it to the
/// standard error stream, and returns at every level. Any thread; a message in progress still reaches the old handler.
KR_API LogHandler LogSetHandler(LogHandler handler) noexcept;

/// The threshold: messages whose level is at most this are handled. Initially kInfo. Any thread.
[[nodiscard]] KR_API eLogLevel LogGetLevel() noexcept;
KR_API void LogSetLevel(eLogLevel level) noexcept;  ///< See LogGetLevel. Any thread.

/// Logs a message formatted as printf does. The format is always a literal of the program; pass text of users through
/// "%s". A message above the threshold costs one atomic load. Any thread.
/// Throws what the handler throws: KrSim::KrRuntimeError at error level while the error handler is installed.
KR_API void logMessage(eLogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Logs at error level and returns, whichever handler is installed: catches KrSim::KrRuntimeError and nothing else. For
/// code that must report an error and still return a result.
KR_API void logErrorNoThrow(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Names the file that printToLogFile appends to; empty closes it. The file is opened with the first line written.
/// Naming the same file again opens it anew, which serves log rotation. Any thread.
KR_API void setLogFile(const std::string& path);
[[nodiscard]] KR_API std::string getLogFile();  ///< Empty without a log file. Any thread.

/// Appends a finished line to the log file, unchanged; does nothing without a log file. Lines of several threads, and
/// of several processes with one file, do not mix. While the file cannot be opened or written, lines are dropped; the
/// start of each such period is reported once, on the standard error stream. Never throws. Any thread.
KR_API void printToLogFile(std::string_view line) noexcept;

}  // namespace Kr
