#pragma once

#include <string_view>

namespace krsim {

/// Whether the whole text is of the pattern: * stands for any characters, ? for one.
[[nodiscard]] bool matches(std::string_view pattern, std::string_view text) noexcept;

}  // namespace krsim
