#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/krsim/run_conditions.h"
#include "apps/krsim/run_plan.h"
#include "apps/krsim/status_output.h"
#include "kr/application/context/frame_statistics.h"
#include "kr/application/i_application_listener.h"
#include "kr/experiments/overrides.h"
#include "kr/experiments/run_statistics.h"

namespace krsim {

/// Shows the progress of a run, "frame 600 | 10.00 s | real time x 1.000 | late 0", four times a second on a terminal,
/// else every ten seconds of real time. The factor is that since the previous status. A frame costs two loads: the time
/// is that of the frame's start, which the main loop has read already. The output is borrowed.
class RunReporter final : public KrSim::IApplicationListener {
public:
    /// \param beginSeconds  elapsed time of the application when the run begins: that of a restored state, or 0.
    explicit RunReporter(StatusOutput& output, double beginSeconds = 0.0);

    void onFrameEnded(KrSim::KrApplication* application) override;

private:
    StatusOutput& _output;
    const double _intervalSeconds;
    double _nextSeconds;  // in elapsed time of the application, like the next one
    double _lastSeconds;
    double _lastSimulatedSeconds{0.0};
};

/// How a run has ended.
struct RunResult {
    int exitValue{0};             ///< of KrApplication::run
    const char* signal{nullptr};  ///< that asked for the end, or null
    bool isStopped{false};        ///< by an output that became NaN
    bool isPaced{false};          ///< by the clock
    std::uint32_t randomSeed{0};
    double realSeconds{0.0};  ///< it took, from the first frame on
    double stepSeconds{0.0};  ///< simulated time of a frame
    KrSim::FrameStatistics statistics{};
    std::vector<KrExperiments::AssignedField> assigned{};    ///< before the first frame
    std::vector<KrExperiments::OverrideStatus> overrides{};  ///< at the end
    std::vector<KrExperiments::FieldStatistics> fields{};    ///< where the plan asks for them
    std::string firstFailure{};
    std::string stopReason{};  ///< what has ended it before its limit; mostly empty
    ConditionResult conditions{};
};

/// Why the run has ended, "all frames run".
[[nodiscard]] std::string describeEnd(const RunPlan& plan, const RunResult& result);

/// A line about the random streams; empty for seed 0, which a run has without choosing one.
[[nodiscard]] std::string describeSeed(std::uint32_t seed);

/// A line for each field that was set before the first frame.
[[nodiscard]] std::string describeAssigned(const std::vector<KrExperiments::AssignedField>& fields);

/// Empty for an application without overrides.
[[nodiscard]] std::vector<KrExperiments::OverrideStatus> getOverrides(const KrSim::KrApplication& application);
/// A line for each override.
[[nodiscard]] std::string describeOverrides(const KrSim::KrApplication& application);

/// The lines for the end of a run.
[[nodiscard]] std::string formatSummary(const RunPlan& plan, const RunResult& result);

}  // namespace krsim
