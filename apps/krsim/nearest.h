#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace krsim {

/// How many characters must be inserted, left out or replaced to make one text the other, upper and lower case alike
/// (Levenshtein's distance).
[[nodiscard]] std::size_t getDistance(const std::string& left, const std::string& right);

/// "; did you mean 'run'?" for the nearest of the choices; empty when none is near: two letters or a third of the text
/// may be wrong.
[[nodiscard]] std::string suggest(const std::string& text, const std::vector<std::string>& choices);

}  // namespace krsim
