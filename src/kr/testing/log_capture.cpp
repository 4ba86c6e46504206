#include "kr/testing/log_capture.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "kr/platform/log_line.h"

namespace KrTesting {

namespace {

struct Line {
    Kr::eLogLevel level;
    std::string text;
};

/// Of the capture that lives; a handler of the log is a plain function.
struct Captured {
    std::mutex mutex;  // guards the lines
    std::vector<Line> lines;
    LogCapture::Hook hook;
};

Captured& captured() {
    static auto& all = *new Captured;  // threads may log when the process ends
    return all;
}

void keep(Kr::eLogLevel level, const char* format, std::va_list arguments) {
    char text[Kr::kMaxLogTextBytes + 1];
    std::vsnprintf(text, sizeof text, format, arguments);
    const std::string line = std::to_string(static_cast<int>(level)) + " " + text;
    auto& all = captured();
    {
        const std::lock_guard lock(all.mutex);
        all.lines.push_back({level, line});
    }
    if (all.hook) all.hook(line);
}

}  // namespace

LogCapture::LogCapture(Hook hook) : _level(Kr::LogGetLevel()), _previous(nullptr) {
    auto& all = captured();
    {
        const std::lock_guard lock(all.mutex);
        all.lines.clear();
    }
    all.hook = std::move(hook);
    _previous = Kr::LogSetHandler(&keep);
    Kr::LogSetLevel(Kr::eLogLevel::kAll);
}

LogCapture::~LogCapture() {
    Kr::LogSetHandler(_previous);
    Kr::LogSetLevel(_level);
    captured().hook = {};
}

std::vector<std::string> LogCapture::lines() const {
    return lines(Kr::eLogLevel::kAll);
}

std::vector<std::string> LogCapture::lines(Kr::eLogLevel level) const {
    auto& all = captured();
    const std::lock_guard lock(all.mutex);
    std::vector<std::string> chosen;
    for (const auto& each : all.lines) {
        if (each.level <= level) chosen.push_back(each.text);
    }
    return chosen;
}

}  // namespace KrTesting
