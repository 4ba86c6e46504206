#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "apps/krsim/failure.h"
#include "kr/experiments/run_statistics.h"

namespace krsim {

/// The numbers of a field, by the names that results and tables have for them.
inline constexpr std::pair<const char*, double KrExperiments::FieldStatistics::*> kStatistics[] = {
    {"final", &KrExperiments::FieldStatistics::last},
    {"min", &KrExperiments::FieldStatistics::minimum},
    {"max", &KrExperiments::FieldStatistics::maximum},
    {"mean", &KrExperiments::FieldStatistics::mean},
    {"rms", &KrExperiments::FieldStatistics::rms}};

/// What is left of a run of a sweep.
struct SweepResult {
    int exitCode{0};
    std::string failure{};  ///< the first one; empty for none
    std::uint64_t frames{0};
    double simulatedSeconds{0.0};
    std::vector<KrExperiments::FieldStatistics> fields{};
};

/// Writes the result as a JSON object, beside the file first, so that a file that exists is complete. Throws a Failure
/// for one that cannot be written.
void writeSweepResult(const std::string& filename, const SweepResult& result);

/// False for a file that does not exist or is not such a result: its run is missing.
[[nodiscard]] bool readSweepResult(const std::string& filename, SweepResult& result);

}  // namespace krsim
