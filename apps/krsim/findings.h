#pragma once

#include <vector>

#include "apps/krsim/failure.h"
#include "apps/krsim/json_writer.h"
#include "apps/krsim/run_plan.h"
#include "kr/persistence/archives/finding.h"

namespace krsim {

using Findings = std::vector<KrPersistence::Finding>;

/// A line each on standard output. kOk when there is none, else kMissingPlugin where types are missing, else
/// kRefusedFile.
[[nodiscard]] eExitCode printFindings(const Findings& findings);

/// The exit code of printFindings.
[[nodiscard]] eExitCode chooseExitCode(const Findings& findings);

/// Writes the member "findings": an array of objects with "isMissingType", "text", "file" and "line".
void writeFindings(JsonWriter& writer, const Findings& findings);

/// Throws a Failure that names the first type which no plug-in makes.
void requireTypes(const Findings& findings);

/// A warning for each finding that is not in the log already and that the plan does not ask for; with RunPlan::isStrict
/// a line each on standard error, and a Failure when there is one.
void reportFindings(const Findings& findings, const RunPlan& plan);

}  // namespace krsim
