#pragma once

#include <string>

#include "kr/platform/log.h"

namespace KrPersistence::detail {

/// Logs, and returns whatever a log handler throws: loading and saving let no exception out.
void logQuietly(Kr::eLogLevel level, const std::string& text) noexcept;

}  // namespace KrPersistence::detail
