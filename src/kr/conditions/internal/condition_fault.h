#pragma once

#include <cstddef>
#include <string>

namespace KrConditions::detail {

/// Thrown while a condition is read, and caught by Condition.
struct ConditionFault {
    std::size_t at{0};  ///< byte in the text of the condition
    std::string text{};
};

}  // namespace KrConditions::detail
