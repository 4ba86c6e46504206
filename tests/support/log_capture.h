#pragma once

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kr/platform/log.h"

namespace test_support {

/// Takes over the log while it lives: every level is let through, and messages are kept instead of printed.
/// One at a time; messages may come from any thread.
class LogCapture {
public:
    using Hook = std::function<void(const std::string& message)>;

    /// \param hook  called with each message once it is kept, on the thread that logs; it may throw to the caller.
    explicit LogCapture(Hook hook = {})
        : _level(Kr::LogGetLevel()), _previous(Kr::LogSetHandler(&LogCapture::_handle)) {
        Kr::LogSetLevel(Kr::eLogLevel::kAll);
        _lines().clear();
        _hook() = std::move(hook);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture() {
        Kr::LogSetHandler(_previous);
        Kr::LogSetLevel(_level);
        _hook() = {};
    }

    /// The messages so far, each as "<level number> <text>".
    [[nodiscard]] std::vector<std::string> lines() const {
        const std::lock_guard lock(_mutex());
        return _lines();
    }

private:
    static std::mutex& _mutex() {
        static std::mutex mutex;  // guards the lines
        return mutex;
    }
    static std::vector<std::string>& _lines() {
        static std::vector<std::string> lines;
        return lines;
    }
    static Hook& _hook() {
        static Hook hook;
        return hook;
    }
    static void _handle(Kr::eLogLevel level, const char* format, std::va_list arguments) {
        char text[4096];
        std::vsnprintf(text, sizeof text, format, arguments);
        const std::string message = std::to_string(static_cast<int>(level)) + " " + text;
        {
            const std::lock_guard lock(_mutex());
            _lines().push_back(message);
        }
        if (_hook()) _hook()(message);
    }

    Kr::eLogLevel _level;
    Kr::LogHandler _previous;
};

}  // namespace test_support
