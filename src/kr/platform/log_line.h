#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "kr/platform/export.h"
#include "kr/platform/log.h"

namespace Kr {

/// Longest text of a message in bytes, its level prefix included and the closing line feed not.
inline constexpr std::size_t kMaxLogTextBytes = 4095;

/// The prefix of a level, such as "ERROR - "; empty for kOff, kAll and numbers that are no level.
[[nodiscard]] KR_API std::string_view getLogLevelPrefix(eLogLevel level) noexcept;

/// The level prefix and the message, ended by a line feed. Longer messages are cut at a whole UTF-8 character.
/// An invalid format gives the format itself.
[[nodiscard]] KR_API std::string formatLogText(eLogLevel level, const char* format, std::va_list arguments);

/// A log line: local time as ctime writes it, " - " and the text.
/// \param secondsSinceEpoch  UTC seconds since 1970-01-01; a time that ctime cannot write is written as the number.
[[nodiscard]] KR_API std::string formatLogLine(std::int64_t secondsSinceEpoch, std::string_view text);

}  // namespace Kr
