#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/krsim/sweep_plan.h"
#include "apps/krsim/sweep_result.h"

namespace krsim {

/// How a run of a sweep ended.
struct SweepOutcome {
    std::optional<SweepResult> result{};
    std::string failure{};  ///< of a run without a result; empty for one that the sweep did not come to

    [[nodiscard]] bool isGood() const { return result && result->exitCode == 0; }
    [[nodiscard]] bool isEnded() const { return result || !failure.empty(); }
    [[nodiscard]] const std::string& getFailure() const { return result ? result->failure : failure; }
};

/// Writes a line for each run: its values, how it ended, and the numbers of its fields in SI units, which the header
/// names. Throws a Failure for a file that cannot be written.
/// \param outcomes  one for each run
void writeSweepTable(const SweepCommandPlan& plan, const std::string& filename,
                     const std::vector<KrExperiments::SweepRun>& runs, const std::vector<SweepOutcome>& outcomes);

/// The same as a JSON object with the runs as a list. Numbers that JSON does not have, NaN and infinite ones, are null.
[[nodiscard]] std::string formatSweepJson(const std::vector<KrExperiments::SweepRun>& runs,
                                          const std::vector<SweepOutcome>& outcomes);

}  // namespace krsim
