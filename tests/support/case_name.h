#pragma once

#include <string>

namespace test_support {

/// Names the cases of a table after their member `name`.
inline constexpr auto caseName = [](const auto& each) { return std::string(each.param.name); };

}  // namespace test_support
