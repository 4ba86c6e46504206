#pragma once

#include <optional>
#include <string>

#include "apps/krsim/recorder.h"
#include "apps/krsim/run_plan.h"
#include "kr/application/i_application_listener.h"
#include "kr/recording/recorder.h"

namespace krsim {

/// Whether the name is that of a recording, which ends in ".mcap", and not of a table.
[[nodiscard]] bool isRecordingName(const std::string& filename);

/// The recording of a run. A pattern that means no field ends the run after its first frame.
class RunRecording final : public KrSim::IApplicationListener {
public:
    /// Throws a Failure when it is known already that the file cannot be written.
    explicit RunRecording(const RecordPlan& plan);
    ~RunRecording() override;

    /// Records the values at the begin of the run. \param mayWait  for the disk; else frames may be dropped.
    void start(KrSim::KrApplication& application, const RunPlan& plan, bool mayWait);
    void onFrameEnded(KrSim::KrApplication* application) override;
    /// Before the application ends.
    void stop();
    /// Throws a Failure for a recording that is not complete.
    void finish();

private:
    const RecordPlan _plan;
    std::optional<KrRecording::Recorder> _recorder;
    KrSim::KrApplication* _application{nullptr};
};

}  // namespace krsim
