#pragma once

#include <string_view>

#include "kr/platform/export.h"

namespace Kr {

/// Whether the whole text matches the pattern: * matches any characters, ? one.
[[nodiscard]] KR_API bool matchesPattern(std::string_view pattern, std::string_view text) noexcept;

/// Whether the text has * or ? in it.
[[nodiscard]] KR_API bool isPattern(std::string_view text) noexcept;

}  // namespace Kr
