#pragma once

#include <string>

#include "apps/krsim/run_events.h"
#include "apps/krsim/run_reporter.h"

namespace krsim {

/// The summary of a run as a JSON object with a line feed behind it, for programs; docs/krsim.md has its members.
[[nodiscard]] std::string formatJsonSummary(const RunPlan& plan, const RunResult& result, const RunEvents& events);

}  // namespace krsim
