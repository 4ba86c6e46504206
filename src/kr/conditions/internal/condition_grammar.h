#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "kr/conditions/internal/condition_scanner.h"

namespace KrConditions::detail {

/// Removes "for 2 s" from the end of the condition. Empty without it. Throws ConditionFault.
/// \return  seconds.
[[nodiscard]] std::optional<double> takeDuration(std::vector<Token>& tokens);

/// Throws ConditionFault where operands, operators and brackets do not follow each other as they should, and where a
/// comparison is compared, as in 1 < x < 3, which would compare 0 or 1 with 3.
void checkGrammar(const std::vector<Token>& tokens);

}  // namespace KrConditions::detail
