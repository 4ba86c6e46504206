#pragma once

#include <string>

#include "kr/platform/log.h"

namespace KrPersistence::detail {

/// Logs and ignores exceptions of the log handler: loading and saving must not throw.
void logQuietly(Kr::eLogLevel level, const std::string& text) noexcept;

}  // namespace KrPersistence::detail
