#include "kr/platform/log_line.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

#include "kr/platform/utf8.h"

namespace Kr {

std::string_view getLogLevelPrefix(eLogLevel level) noexcept {
    switch (level) {
        case eLogLevel::kFatal:
            return "FATAL - ";
        case eLogLevel::kError:
            return "ERROR - ";
        case eLogLevel::kWarn:
            return "WARN - ";
        case eLogLevel::kInfo:
            return "INFO - ";
        case eLogLevel::kDebug:
            return "DEBUG - ";
        case eLogLevel::kTrace:
            return "TRACE - ";
        case eLogLevel::kOff:
        case eLogLevel::kAll:
            break;
    }
    return {};
}

std::string formatLogText(eLogLevel level, const char* format, std::va_list arguments) {
    // One byte beyond the longest message shows whether the cut falls inside a character.
    std::array<char, kMaxLogTextBytes + 2> buffer{};
    const int length = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    const std::string_view message =
        length < 0 ? std::string_view(format)
                   : std::string_view(buffer.data(), std::min(static_cast<std::size_t>(length), buffer.size() - 1));

    std::string text(getLogLevelPrefix(level));
    text += message.substr(0, getUtf8PrefixLength(message, kMaxLogTextBytes - text.size()));
    if (!text.ends_with('\n')) text += '\n';
    return text;
}

std::string formatLogLine(std::int64_t secondsSinceEpoch, std::string_view text) {
    const std::time_t time = secondsSinceEpoch;
    std::array<char, 64> buffer{};
    std::string line;
    if (ctime_r(&time, buffer.data()) != nullptr) {
        line = buffer.data();
        line.pop_back();  // the line feed of ctime
    } else {
        line = std::to_string(secondsSinceEpoch);
    }
    line += " - ";
    line += text;
    return line;
}

}  // namespace Kr
