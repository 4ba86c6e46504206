#pragma once

#include <string_view>

// The files urban_cycle.csv and extra_urban_cycle.csv, which CMake makes part of the program.

[[nodiscard]] std::string_view getUrbanCycleText();
[[nodiscard]] std::string_view getExtraUrbanCycleText();
