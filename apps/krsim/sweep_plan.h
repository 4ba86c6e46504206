#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "apps/krsim/run_plan.h"
#include "kr/experiments/sweep.h"

namespace krsim {

/// What varies in the runs of a sweep, and where their results go.
struct SweepCommandPlan {
    RunPlan run{};  ///< what all runs have in common
    KrExperiments::SweepPlan sweep{};
    std::vector<std::string> patterns{};  ///< of the fields in the table; empty for all outputs that are numbers
    std::size_t jobs{0};                  ///< processes at the same time; 0 for one for each processor
    std::string table{};                  ///< file of the table; - for standard output
    std::string folder{};                 ///< of the results; empty for one beside the table
    bool printsJson{false};               ///< the table as a JSON object on standard output
    bool isForced{false};                 ///< results of another sweep are discarded
};

}  // namespace krsim
