#include "apps/krsim/run_recording.h"

#include <cstdint>

#include "apps/krsim/failure.h"
#include "apps/krsim/output_file.h"
#include "apps/krsim/run_inputs.h"
#include "kr/application/application.h"
#include "kr/platform/text.h"
#include "kr/platform/version.h"

namespace krsim {
namespace {

constexpr auto kKind = eOutputKind::kRecording;

}  // namespace

bool isRecordingName(const std::string& filename) {
    return filename.ends_with(".mcap");
}

RunRecording::RunRecording(const RecordPlan& plan) : _plan(plan) {
    if (plan.hasUnits)
        throw Failure(eExitCode::kUsage,
                      "--record-units is for tables (CSV); a recording is in SI units and names them");
    requireWritable(kKind, plan.file, plan.isForced);
}

RunRecording::~RunRecording() {
    stop();
}

void RunRecording::start(KrSim::KrApplication& application, const RunPlan& plan, bool mayWait) {
    KrRecording::RecordingOptions options{.patterns = _plan.patterns,
                                          .periodSeconds = _plan.periodSeconds,
                                          .isOnChange = _plan.isOnChange,
                                          .mayWait = mayWait};
    options.metadata = describeInputs(plan);
    options.metadata.emplace_back("seed", Kr::toText(application.getContext().getRandomSeed()));
    options.metadata.emplace_back("step", Kr::toText(application.getSimulationTimeStep()));
    _recorder.emplace(_plan.file, std::move(options));
    _recorder->start(application);
    _application = &application;
    application.registerListener(&*_recorder);
    application.registerListener(this);
}

void RunRecording::onFrameEnded(KrSim::KrApplication* application) {
    if (_recorder->hasFields() || _recorder->getProblem().empty()) return;
    application->sendExitApplicationRequest();
}

void RunRecording::stop() {
    if (_application == nullptr) return;
    _application->unregisterListener(this);
    _application->unregisterListener(&*_recorder);
    _application = nullptr;
}

void RunRecording::finish() {
    if (!_recorder) return;
    const auto result = _recorder->finish();
    if (!result.problem.empty() && !_recorder->hasFields())
        throw Failure(eExitCode::kUsage, result.problem + "; 'krsim run --outputs' shows paths of fields");
    if (!result.problem.empty()) throw Failure(eExitCode::kFailed, result.problem);
    if (result.dropped == 0) return;
    throw Failure(eExitCode::kFailed, "recording '" + _plan.file + "' lacks " + std::to_string(result.dropped) +
                                          " frames: the disk was slower than the run; record fewer fields, or with "
                                          "--record-period, or run with --free, which waits for it");
}

}  // namespace krsim
