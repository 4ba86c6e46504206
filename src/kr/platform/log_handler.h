#pragma once

#include "kr/platform/export.h"
#include "kr/platform/log.h"

namespace Kr {

/// Calls Kr::LogSetHandler, but only while `expected` is the handler of the process. Null is the default handler, in
/// both places. Returns whether the handler was installed. Any thread.
KR_API bool replaceLogHandler(LogHandler expected, LogHandler handler) noexcept;

}  // namespace Kr
