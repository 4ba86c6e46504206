#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "kr/platform/export.h"

namespace Kr {

/// The edit distance of Levenshtein: the number of characters to insert, remove or replace to turn one text into the
/// other; upper and lower case of ASCII are equal. Takes time in proportion to the product of the lengths.
[[nodiscard]] KR_API std::size_t countEdits(std::string_view left, std::string_view right);

/// For the end of a message about a name that does not exist: "; did you mean 'Mass'?" with the nearest of the names,
/// or empty when none is near: two characters, or a third of them, may be wrong.
[[nodiscard]] KR_API std::string suggestName(std::string_view name, std::span<const std::string> known);

}  // namespace Kr
