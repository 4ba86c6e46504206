#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "kr/platform/export.h"

namespace Kr {

/// How many characters must be inserted, left out or replaced to make one text the other, upper and lower case of ASCII
/// being the same (the edit distance of Levenshtein). Takes time in proportion to the product of the lengths.
[[nodiscard]] KR_API std::size_t countEdits(std::string_view left, std::string_view right);

/// For the end of a message about a name that does not exist: "; did you mean 'Mass'?" with the nearest of the names,
/// or nothing where none is near: two characters, or a third of them, may be wrong.
[[nodiscard]] KR_API std::string suggestName(std::string_view name, std::span<const std::string> known);

}  // namespace Kr
