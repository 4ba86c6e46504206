#pragma once

#include <optional>
#include <string>

#include "apps/krsim/file_plans.h"

namespace krsim {

/// What differs between two files of frame hashes, a line for each fact; empty when all their frames are equal. With
/// the states of both runs after the first frame that differs also the first field; otherwise how to get these. Nothing
/// when neither file is one. Throws a Failure when only one is, and when the states are those of another frame.
[[nodiscard]] std::optional<std::string> compareIfHashes(const DiffPlan& plan);

}  // namespace krsim
