#pragma once

#include <string_view>

namespace krsim {

/// Whether the whole text matches the pattern: * matches any characters, ? one.
[[nodiscard]] bool matches(std::string_view pattern, std::string_view text) noexcept;

}  // namespace krsim
