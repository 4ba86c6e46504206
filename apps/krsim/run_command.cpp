#include "apps/krsim/run_command.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "apps/krsim/assembly.h"
#include "apps/krsim/findings.h"
#include "apps/krsim/hash_writer.h"
#include "apps/krsim/loaded_file.h"
#include "apps/krsim/output_file.h"
#include "apps/krsim/outputs.h"
#include "apps/krsim/recorder.h"
#include "apps/krsim/run_conditions.h"
#include "apps/krsim/run_events.h"
#include "apps/krsim/run_recording.h"
#include "apps/krsim/run_reporter.h"
#include "apps/krsim/run_watch.h"
#include "apps/krsim/simulation_files.h"
#include "apps/krsim/state_files.h"
#include "apps/krsim/status_output.h"
#include "apps/krsim/stop_signals.h"
#include "apps/krsim/summary_json.h"
#include "apps/krsim/type_catalog.h"
#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/events/errors/error_handler.h"
#include "kr/experiments/overrides.h"
#include "kr/persistence/setups/application_check.h"
#include "kr/platform/clock.h"
#include "kr/platform/log.h"
#include "kr/platform/log_line.h"

namespace krsim {
namespace {

/// That of a run without a setup.
Kr::eLogLevel chooseLevel(const RunPlan& plan) {
    return plan.logLevel.value_or(plan.isQuiet ? Kr::eLogLevel::kWarn : Kr::eLogLevel::kInfo);
}

/// What becomes of log lines during a run.
class Log {
public:
    explicit Log(const RunPlan& plan) {
        KrSim::KrErrorHandler::Register();
        // Warnings say what is wrong with plug-ins, so they are heard until the run begins.
        Kr::LogSetLevel(std::max(chooseLevel(plan), Kr::eLogLevel::kWarn));
    }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;
    ~Log() {
        KrSim::KrErrorHandler::setLogFile({});
        KrSim::KrErrorHandler::Unregister();
    }
};

/// Throws a Failure when nothing can be written there, now and not with the first message.
void openLogFile(KrSim::KrApplication& application, const std::string& prefix) {
    application.setLogFilePrefix(prefix);
    const auto file = application.getLogFilename();
    Kr::printToLogFile(Kr::formatLogLine(std::time(nullptr), "INFO - krsim: The log begins\n"));
    if (::access(file.c_str(), W_OK) == 0) return;
    const std::string reason = std::strerror(errno);
    throw Failure(eExitCode::kFailed, "log file '" + file + "' cannot be written: " + reason);
}

bool isPaced(const KrSim::KrApplication& application) {
    using eSync = KrSim::eSynchronizationMode;
    return application.getSyncMode() == eSync::kSWSync || application.getSyncMode() == eSync::kSWAndVSync;
}

std::string describe(const RunPlan& plan, const KrSim::KrApplication& application) {
    char limit[64] = "until it is ended";
    if (plan.limits.frames != KrSim::RunLimits::kEndless) {
        std::snprintf(limit, sizeof limit, "for %llu frames", static_cast<unsigned long long>(plan.limits.frames));
    } else if (std::isfinite(plan.limits.seconds)) {
        std::snprintf(limit, sizeof limit, "for %g s", plan.limits.seconds);
    }
    char text[256];
    std::snprintf(text, sizeof text, "krsim: running at %g Hz, %s, %s; extensions: %zu, modules: %zu\n",
                  application.getSimulationFrameRate(), isPaced(application) ? "paced" : "free", limit,
                  application.getContentDispatcher().getExtensions().size(), application.getModuleCount());
    const auto logFile = application.getLogFilename();
    return text + describeSeed(application.getContext().getRandomSeed()) +
           (logFile.empty() ? "" : "krsim: logging into '" + logFile + "'\n");
}

/// A listener of the application while it lives.
class Listening {
public:
    Listening(KrSim::KrApplication& application, KrSim::IApplicationListener& listener)
        : _application(application), _listener(listener) {
        _application.registerListener(&_listener);
    }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;
    ~Listening() { _application.unregisterListener(&_listener); }

private:
    KrSim::KrApplication& _application;
    KrSim::IApplicationListener& _listener;
};

KrExperiments::ShownUnits chooseUnits(const RunPlan& plan, const KrSim::KrApplication& application) {
    return plan.units ? plan.units : KrExperiments::findUnitSystem(application);
}

/// Throws a Failure with all problems.
std::vector<KrExperiments::AssignedField> assign(const KrSim::KrApplication& application, const RunPlan& plan,
                                                 KrExperiments::ShownUnits units) {
    auto result = KrExperiments::assignFields(application, plan.assignments, units);
    if (result.problems.empty()) return std::move(result.fields);
    std::string text;
    for (const auto& each : result.problems)
        text.append(text.empty() ? "--set " : "\nkrsim: --set ").append(each);
    throw Failure(eExitCode::kUsage, text);
}

/// Throws a Failure with all problems.
void override(KrSim::KrApplication& application, const RunPlan& plan) {
    if (plan.overrides.empty() && plan.overrideFiles.empty()) return;
    enableOverrideConditions();
    auto& overrides = KrExperiments::Overrides::of(application);
    std::string text;
    const auto add = [&](const std::string& problem) { text.append(text.empty() ? "" : "\nkrsim: ").append(problem); };
    for (const auto& each : plan.overrides) {
        std::string problem;
        if (overrides.add(each, problem) == KrExperiments::Overrides::kNone)
            add(std::string("--override '").append(each).append("': ").append(problem));
    }
    if (!text.empty()) throw Failure(eExitCode::kUsage, text);
    for (const auto& each : plan.overrideFiles) {
        const auto stream = openInput(each);
        for (const auto& problem : overrides.addLines(*stream, each))
            add(problem);
    }
    if (!text.empty()) throw Failure(eExitCode::kRefusedFile, text);
}

/// In the order of the plan. Throws a Failure for a table that does not fit.
std::vector<std::unique_ptr<KrExperiments::Stimulus>> makeStimuli(KrSim::KrApplication& application,
                                                                  const RunPlan& plan) {
    std::vector<std::unique_ptr<KrExperiments::Stimulus>> stimuli;
    for (const auto& each : plan.stimuli) {
        const auto table = Kr::CsvTable::load(each);
        if (!table) throw toFailure(table);
        std::string problem;
        stimuli.push_back(KrExperiments::Stimulus::make(application, *table, each, plan.stimulus, problem));
        if (!problem.empty()) throw Failure(eExitCode::kRefusedFile, problem);
    }
    return stimuli;
}

/// What the command line and its files say.
KrPersistence::LoadedSimulation build(KrSim::KrApplication& application, const RunPlan& plan) {
    const LogChoice log{
        .level = plan.logLevel, .isQuiet = plan.isQuiet, .filePrefix = plan.logFilePrefix, .hasFile = plan.logsToFile};
    auto simulation =
        loadFiles(application, plan.files,
                  {.pluginDirectories = plan.pluginDirectories, .presets = plan.presets, .adjustSetup = log});
    const bool hasSetup = !simulation.setupFile.empty();
    if (!plan.allowsMissing) requireTypes(simulation.getFindings());
    if (plan.logFilePrefix) openLogFile(application, *plan.logFilePrefix);
    assemble(application, plan, TypeCatalog(getPluginDirectories()), hasSetup);
    if (!plan.content.empty()) simulation.contentFindings = KrPersistence::checkContent(application);
    auto findings = simulation.getFindings();
    const auto more = KrPersistence::checkSimulation(application);
    findings.insert(findings.end(), more.begin(), more.end());
    reportFindings(findings, plan);
    if (!plan.stateToRestore.empty()) restoreState(application, plan.stateToRestore);
    if (plan.logLevel || !hasSetup) Kr::LogSetLevel(chooseLevel(plan));
    return simulation;
}

/// A closed reader of the status is no failure, unless outputs or the summary for programs were requested.
void requireWritten(const StatusOutput& output, const RunPlan& plan) {
    const int error = output.getError();
    if (error == 0 || (error == EPIPE && !plan.printsOutputs && !plan.printsJson)) return;
    throw Failure(eExitCode::kFailed, std::string("cannot write the output: ") + std::strerror(error));
}

/// What a run leaves when its content and modules have been taken down.
struct Ended {
    RunResult result{};
    std::string outputs{};
    std::exception_ptr failure{};  ///< of what was to be saved
};

RunResult runLoop(KrSim::KrApplication& application, const RunPlan& plan, StopSignals& signals, RunWatch& watch) {
    RunResult result;
    const auto& clock = Kr::SteadyClock::instance();
    const StopSignals::Target target(signals, application);
    const RunWatch::Target watched(watch, application, plan.stopsOnNaN);
    const double begin = clock.getSeconds();
    result.exitValue = application.run(plan.limits);
    result.realSeconds = clock.getSeconds() - begin;
    result.signal = signals.getReceived();
    result.isStopped = plan.stopsOnNaN && RunWatch::hasNaN();
    result.isPaced = isPaced(application);
    result.randomSeed = application.getContext().getRandomSeed();
    result.stepSeconds = application.getSimulationTimeStep();
    result.statistics = application.getFrameStatistics();
    return result;
}

/// What writes a line for each frame, where it is asked for.
struct Writers {
    explicit Writers(const RunPlan& plan) {
        if (isRecordingName(plan.record.file)) {
            recording.emplace(plan.record);
        } else if (!plan.record.file.empty()) {
            recorder.emplace(plan.record);
        }
        if (!plan.hashFile.empty()) hashes.emplace(plan.hashFile, plan.isForced);
    }

    std::optional<Recorder> recorder;
    std::optional<RunRecording> recording;
    std::optional<HashWriter> hashes;
};

/// Ends recording and hashing before the application, also after an exception.
struct WritingEnd {
    explicit WritingEnd(Writers& each) : writers(each) {}
    WritingEnd(const WritingEnd&) = delete;
    WritingEnd& operator=(const WritingEnd&) = delete;
    ~WritingEnd() {
        if (writers.recording) writers.recording->stop();
        if (writers.hashes) writers.hashes->stop();
    }

    Writers& writers;
};

/// Saves the requested files.
void save(const KrSim::KrApplication& application, const RunPlan& plan, Writers& writers) {
    if (writers.recorder) writers.recorder->requireFields();
    // A full disk under table and hashes takes no state with it.
    if (!plan.stateToSave.empty()) saveState(application, plan.stateToSave, plan.isForced);
    if (writers.hashes) writers.hashes->finish();
    if (writers.recorder) writers.recorder->finish();
    if (writers.recording) writers.recording->finish();
}

bool isTextWanted(const RunPlan& plan) {
    return !plan.isQuiet && !plan.printsJson && plan.record.file != kStandardStream &&
           plan.hashFile != kStandardStream && plan.stateToSave != kStandardStream;
}

/// Builds the application, runs it and takes it down.
Ended simulate(const RunPlan& plan, StopSignals& signals, RunWatch& watch, StatusOutput& output, Writers& writers) {
    const bool isQuiet = !isTextWanted(plan);
    const auto application = KrSim::KrApplication::create();
    const auto simulation = build(*application, plan);  // instances follow its definitions

    RunReporter reporter(output, application->getContext().getElapsedSeconds());
    const auto assigned = assign(*application, plan, chooseUnits(plan, *application));
    const auto units = chooseUnits(plan, *application);  // an assignment may choose others
    override(*application, plan);
    const RunConditions conditions(*application, plan.conditions);
    const auto stimuli = makeStimuli(*application, plan);
    if (!isQuiet)
        output.print(describe(plan, *application) + describeAssigned(assigned) + describeOverrides(*application));
    std::optional<Listening> reporting;
    if (!isQuiet) reporting.emplace(*application, reporter);
    const WritingEnd writingEnd(writers);
    std::optional<Listening> recording;
    if (writers.recorder) {
        writers.recorder->start(*application, units);
        recording.emplace(*application, *writers.recorder);
    }
    if (writers.recording) writers.recording->start(*application, plan, !isPaced(*application));
    std::optional<KrExperiments::RunStatistics> statistics;
    std::optional<Listening> measuring;
    if (plan.hasStatistics) {
        std::string problem;
        statistics.emplace(*application, plan.statisticsPatterns, problem);
        if (!problem.empty()) throw Failure(eExitCode::kUsage, problem);
        measuring.emplace(*application, *statistics);
    }
    std::optional<Listening> hashing;
    if (writers.hashes) {
        writers.hashes->start(*application, plan);
        hashing.emplace(*application, *writers.hashes);
    }

    std::list<Listening> playing;  // behind what records: that shows the values with which a frame was run
    for (const auto& each : stimuli)
        playing.emplace_back(*application, *each);
    Ended ended{.result = runLoop(*application, plan, signals, watch)};
    for (std::size_t i = 0; i < stimuli.size(); ++i) {
        if (stimuli[i]->hasEnded()) ended.result.stopReason = "the end of '" + plan.stimuli[i] + "'";
    }
    playing.clear();
    ended.result.assigned = assigned;
    ended.result.conditions = conditions.getResult();
    RunWatch::inspect(*application);
    ended.result.overrides = getOverrides(*application);
    if (statistics) ended.result.fields = statistics->get();
    measuring.reset();
    if (plan.printsOutputs) ended.outputs = formatOutputs(*application, units);
    recording.reset();
    hashing.reset();
    try {
        save(*application, plan, writers);
    } catch (...) {
        ended.failure = std::current_exception();
    }
    return ended;
}

eExitCode getExitCode(const RunPlan& plan, const RunResult& result, const StopSignals& signals) {
    if (result.exitValue != 0) return eExitCode::kFailed;
    if (signals.getReceived() != nullptr) return signals.getExitCode();
    if (hasFailedChecks(result.conditions)) return eExitCode::kFailed;
    return RunWatch::getFailureCount() > 0 && !plan.keepsGoing ? eExitCode::kFailed : eExitCode::kOk;
}

}  // namespace

eExitCode runSimulation(const RunPlan& plan, RunResult* result) {
    if (!plan.stateToSave.empty()) requireReplaceable(eOutputKind::kState, plan.stateToSave, plan.isForced);
    Writers writers(plan);
    StopSignals signals;
    const Log log(plan);
    RunWatch watch;
    StatusOutput output(STDOUT_FILENO);
    Ended ended = simulate(plan, signals, watch, output, writers);
    const auto events = RunWatch::getEvents();
    if (!events.failures.get().empty()) ended.result.firstFailure = formatEvent(events.failures.get().front());
    for (const auto& each : ended.result.conditions.checks) {
        if (each.failures == 0 || !ended.result.firstFailure.empty()) continue;
        ended.result.firstFailure =
            "check '" + each.condition + "' failed in frame " + std::to_string(each.first.frame);
    }
    if (result != nullptr) *result = ended.result;
    if (isTextWanted(plan))
        output.print(formatSummary(plan, ended.result) + formatChecks(ended.result.conditions) + formatEvents(events));
    if (plan.printsJson) output.print(formatJsonSummary(plan, ended.result, events));
    if (plan.printsOutputs) output.print(ended.outputs);
    if (ended.failure) std::rethrow_exception(ended.failure);
    requireWritten(output, plan);
    return getExitCode(plan, ended.result, signals);
}

}  // namespace krsim
