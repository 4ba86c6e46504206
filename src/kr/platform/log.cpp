#include "kr/platform/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <new>
#include <utility>

#include "kr/platform/log_handler.h"
#include "kr/platform/log_line.h"
#include "kr/platform/runtime_error.h"

namespace Kr {
namespace {

void printToStandardError(std::string_view line) noexcept {
    std::fwrite(line.data(), 1, line.size(), stderr);
}

/// When memory is missing. The operation that logs continues.
void reportLostMessage() noexcept {
    printToStandardError("WARN - out of memory: a log message is lost\n");
}

void defaultLogHandler(eLogLevel level, const char* format, std::va_list arguments) {
    const std::string line = formatLogLine(std::time(nullptr), formatLogText(level, format, arguments));
    printToLogFile(line);
    printToStandardError(line);
}

constinit std::atomic<LogHandler> logHandler{&defaultLogHandler};
constinit std::atomic<eLogLevel> logLevel{eLogLevel::kInfo};

bool isHandled(eLogLevel level, const char* format) noexcept {
    return level <= logLevel.load(std::memory_order_relaxed) && format != nullptr;
}

/// The file behind setLogFile. The mutex guards all members; warnings are printed after it is released.
class LogFile {
public:
    // Never destroyed: static objects may log while the process ends.
    static LogFile& instance() {
        static auto& file = *new LogFile;
        return file;
    }

    void setPath(const std::string& path) {
        const std::lock_guard lock(_mutex);
        if (_descriptor >= 0) ::close(_descriptor);
        _descriptor = -1;
        _isFailing = false;
        _path = path;
    }

    std::string getPath() {
        const std::lock_guard lock(_mutex);
        return _path;
    }

    void append(std::string_view line) {
        std::string failure;
        {
            const std::lock_guard lock(_mutex);
            if (_path.empty()) return;
            const bool wasFailing = std::exchange(_isFailing, !(_open() && _write(line)));
            if (wasFailing || !_isFailing) return;
            const char* const reason = errno == ELOOP ? "it is a link, which is not followed" : std::strerror(errno);
            failure = "cannot write the log file '" + _path + "': " + reason + "\n";
        }
        failure.insert(0, getLogLevelPrefix(eLogLevel::kWarn));
        printToStandardError(formatLogLine(std::time(nullptr), failure));
    }

private:
    bool _open() {
        // Others can foretell the name: a link that they make there must not lead to a file of this user.
        constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC;
        if (_descriptor < 0) _descriptor = ::open(_path.c_str(), kFlags, 0666);
        return _descriptor >= 0;
    }

    bool _write(std::string_view line) {
        while (!line.empty()) {
            const ssize_t written = ::write(_descriptor, line.data(), line.size());
            if (written == 0 || (written < 0 && errno != EINTR)) return false;
            if (written > 0) line.remove_prefix(static_cast<std::size_t>(written));
        }
        return true;
    }

    std::mutex _mutex;
    std::string _path;
    int _descriptor{-1};
    bool _isFailing{false};
};

}  // namespace

LogHandler LogSetHandler(LogHandler handler) noexcept {
    return logHandler.exchange(handler ? handler : &defaultLogHandler, std::memory_order_acq_rel);
}

bool replaceLogHandler(LogHandler expected, LogHandler handler) noexcept {
    if (expected == nullptr) expected = &defaultLogHandler;
    return logHandler.compare_exchange_strong(expected, handler ? handler : &defaultLogHandler,
                                              std::memory_order_acq_rel, std::memory_order_relaxed);
}

eLogLevel LogGetLevel() noexcept {
    return logLevel.load(std::memory_order_relaxed);
}

void LogSetLevel(eLogLevel level) noexcept {
    logLevel.store(level, std::memory_order_relaxed);
}

void logMessage(eLogLevel level, const char* format, ...) {
    if (!isHandled(level, format)) return;
    std::va_list arguments;
    va_start(arguments, format);
    try {
        logHandler.load(std::memory_order_acquire)(level, format, arguments);
    } catch (const std::bad_alloc&) {
        va_end(arguments);
        // From error level on the caller is to give up, which it does.
        if (level <= eLogLevel::kError) throw;
        reportLostMessage();
        return;
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
}

void logErrorNoThrow(const char* format, ...) {
    if (!isHandled(eLogLevel::kError, format)) return;
    std::va_list arguments;
    va_start(arguments, format);
    try {
        logHandler.load(std::memory_order_acquire)(eLogLevel::kError, format, arguments);
    } catch (const KrSim::KrRuntimeError&) {  // the handler has processed the message; the caller wants to continue
    } catch (const std::bad_alloc&) {
        reportLostMessage();
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
}

void setLogFile(const std::string& path) {
    LogFile::instance().setPath(path);
}

std::string getLogFile() {
    return LogFile::instance().getPath();
}

void printToLogFile(std::string_view line) noexcept {
    try {
        LogFile::instance().append(line);
    } catch (const std::exception&) {  // out of memory while reporting: the line is all that is lost
    }
}

}  // namespace Kr
