#include "apps/krsim/sweep_command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "apps/krsim/output_file.h"
#include "apps/krsim/recorded_values.h"
#include "apps/krsim/run_command.h"
#include "apps/krsim/run_inputs.h"
#include "apps/krsim/run_reporter.h"
#include "apps/krsim/sweep_result.h"
#include "apps/krsim/sweep_table.h"
#include "kr/platform/clock.h"
#include "kr/platform/text.h"
#include "kr/platform/version.h"

namespace krsim {
namespace {

namespace fs = std::filesystem;
using KrExperiments::SweepRun;

constexpr double kTerminalIntervalSeconds = 0.25;
constexpr double kLineIntervalSeconds = 10.0;

// --- Signals -------------------------------------------------------------------------------------------------------

volatile std::sig_atomic_t receivedSignal = 0;

void noteSignal(int number) {
    receivedSignal = number;
}

/// During its lifetime the first of these signals ends the sweep after the runs in progress; they get it, too, from a
/// terminal.
class SweepSignals {
public:
    SweepSignals() {
        receivedSignal = 0;
        struct sigaction action {};
        action.sa_handler = &noteSignal;  // without SA_RESTART: a wait for a run ends
        for (std::size_t i = 0; i < std::size(kSignals); ++i) {
            ::sigaction(kSignals[i], &action, &_before[i]);
            if (_before[i].sa_handler == SIG_IGN) ::sigaction(kSignals[i], &_before[i], nullptr);  // nohup
        }
        std::signal(SIGCHLD, SIG_DFL);  // where it is ignored, the ends of runs cannot be waited for
    }
    SweepSignals(const SweepSignals&) = delete;
    SweepSignals& operator=(const SweepSignals&) = delete;
    ~SweepSignals() { restore(); }

    /// In the process of a run.
    void restore() const {
        for (std::size_t i = 0; i < std::size(kSignals); ++i)
            ::sigaction(kSignals[i], &_before[i], nullptr);
    }
    [[nodiscard]] static eExitCode getExitCode() { return static_cast<eExitCode>(128 + receivedSignal); }

private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

    struct sigaction _before[std::size(kSignals)]{};
};

// --- The folder of the results ---------------------------------------------------------------------------------------

std::string describeSweep(const SweepCommandPlan& plan) {
    std::string text = std::string("sweep of krsim ") + Kr::getLibraryVersion() + "\n";
    const auto add = [&](const std::string& name, const std::string& value) {
        text.append(name).append(" ").append(value).append("\n");
    };
    for (const auto& [name, value] : describeInputs(plan.run))
        add(name, value);
    for (const auto& each : plan.sweep.variations) {
        std::string values = each.pattern + " =";
        if (each.isRange)
            values.append(" ")
                .append(Kr::toText(each.first))
                .append(" to ")
                .append(Kr::toText(each.last))
                .append(" ")
                .append(each.unit);
        for (const auto& value : each.values)
            values.append(" '").append(value).append("'");
        add("vary", values);
    }
    for (const auto& each : plan.patterns)
        add("of", each);
    add("sampling", std::to_string(static_cast<int>(plan.sweep.sampling)) + " " + std::to_string(plan.sweep.runs));
    add("seed", std::to_string(plan.sweep.seed));
    add("frames", std::to_string(plan.run.limits.frames));
    add("seconds", Kr::toText(plan.run.limits.seconds));
    add("rate", plan.run.rateHz ? Kr::toText(*plan.run.rateHz) : "-");
    return text;
}

/// The files of a sweep.
class SweepFolder {
public:
    /// Makes the folder, or checks that the results in it are those of this sweep. Throws a Failure.
    SweepFolder(const SweepCommandPlan& plan, const std::vector<SweepRun>& runs) : _folder(choose(plan)) {
        const auto description = describeSweep(plan);
        std::error_code error;
        fs::create_directories(_folder, error);
        if (error)
            throw Failure(eExitCode::kFailed, "folder '" + _folder.string() + "' cannot be made: " + error.message());
        const auto file = _folder / "sweep.txt";
        const bool isForeign = fs::exists(file) ? read(file) != description : !fs::is_empty(_folder);
        if (isForeign && hasOthers() && !plan.isForced) {
            throw Failure(eExitCode::kUsage, "folder '" + _folder.string() +
                                                 "' has results of another sweep, or other files; choose another "
                                                 "--folder, or discard the results with --force");
        }
        if (isForeign) discard();
        write(file, description);
        std::string list;
        for (const auto& each : runs) {
            list.append(std::to_string(each.number)).append(" seed=").append(std::to_string(each.seed));
            for (const auto& assignment : each.assignments)
                list.append(" '").append(assignment.pattern).append("=").append(assignment.value).append("'");
            list += "\n";
        }
        write(_folder / "runs.txt", list);
    }

    [[nodiscard]] std::string getResultFile(std::size_t number) const { return getFile(number, ".json"); }
    [[nodiscard]] std::string getLogFile(std::size_t number) const { return getFile(number, ".log"); }

    /// Why a run failed, from what it has printed: the crash, else what it said last.
    [[nodiscard]] std::string getReason(std::size_t number) const {
        constexpr std::string_view kOwn = "krsim: ";
        std::istringstream lines(read(getLogFile(number)));
        std::string last;
        for (std::string line; std::getline(lines, line);) {
            const bool isOwn = line.starts_with(kOwn);
            if (isOwn || (!line.empty() && !last.starts_with(kOwn))) last = line;
            if (line.starts_with("krsim: crash")) break;
        }
        return last.starts_with(kOwn) ? last.substr(kOwn.size()) : last;
    }

private:
    [[nodiscard]] static fs::path choose(const SweepCommandPlan& plan) {
        if (!plan.folder.empty()) return plan.folder;
        return plan.table.empty() || plan.table == kStandardStream ? "sweep.runs" : plan.table + ".runs";
    }
    [[nodiscard]] static std::string read(const fs::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }
    static void write(const fs::path& file, const std::string& text) {
        std::ofstream stream(file, std::ios::binary | std::ios::trunc);
        if (!(stream << text).flush())
            throw Failure(eExitCode::kFailed, "'" + file.string() + "' cannot be written: " + std::strerror(errno));
    }
    /// Other files than those of a sweep without a result.
    [[nodiscard]] bool hasOthers() const {
        return std::any_of(fs::directory_iterator(_folder), fs::directory_iterator(), [](const auto& each) {
            const auto name = each.path().filename().string();
            return name != "sweep.txt" && name != "runs.txt" && !(name.starts_with("run_") && name.ends_with(".log"));
        });
    }
    void discard() const {
        for (const auto& each : fs::directory_iterator(_folder)) {
            if (each.path().filename().string().starts_with("run_")) fs::remove(each.path());
        }
    }
    [[nodiscard]] std::string getFile(std::size_t number, const char* ending) const {
        char name[32];
        std::snprintf(name, sizeof name, "run_%07zu", number);
        return (_folder / name).string() + ending;
    }

    fs::path _folder;
};

// --- Runs ------------------------------------------------------------------------------------------------------------

/// In the process of the run.
int execute(const SweepCommandPlan& plan, const SweepRun& run, const SweepFolder& folder) {
    RunPlan one = plan.run;
    one.assignments.insert(one.assignments.end(), run.assignments.begin(), run.assignments.end());
    if (one.seed || plan.sweep.sampling != KrExperiments::eSampling::kGrid) one.seed = run.seed;
    one.isPaced = false;
    one.isQuiet = true;
    one.logsToFile = false;
    one.hasStatistics = true;
    one.statisticsPatterns = plan.patterns;
    RunResult ended;
    const auto code = runSimulation(one, &ended);
    if (ended.signal != nullptr) return static_cast<int>(code);  // is missing
    writeSweepResult(folder.getResultFile(run.number), {.exitCode = static_cast<int>(code),
                                                        .failure = ended.firstFailure,
                                                        .frames = ended.statistics.frames,
                                                        .simulatedSeconds = ended.statistics.simulatedSeconds,
                                                        .fields = std::move(ended.fields)});
    return static_cast<int>(code);
}

[[noreturn]] void becomeRun(const SweepCommandPlan& plan, const SweepRun& run, const SweepFolder& folder,
                            const SweepSignals& signals) {
    signals.restore();
    const int log = ::open(folder.getLogFile(run.number).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (log >= 0) {
        ::dup2(log, STDOUT_FILENO);
        ::dup2(log, STDERR_FILENO);
    }
    int code = static_cast<int>(eExitCode::kFailed);
    try {
        code = execute(plan, run, folder);
    } catch (const Failure& failure) {
        code = static_cast<int>(failure.getCode());
        std::fprintf(stderr, "krsim: %s\n", failure.what());
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "krsim: %s\n", exception.what());
    }
    std::fflush(nullptr);
    ::_exit(code);  // the rest of the process is that of the sweep
}

std::string describeEnd(int status, const SweepFolder& folder, std::size_t number) {
    if (WIFSIGNALED(status)) return std::string("ended by ") + ::strsignal(WTERMSIG(status));
    const auto line = folder.getReason(number);
    return line.empty() ? "ended with exit code " + std::to_string(WEXITSTATUS(status)) : line;
}

/// How far the sweep is: on a terminal in its last line, else in a line every ten seconds.
class Progress {
public:
    Progress(std::size_t count, std::size_t done) : _count(count), _done(done), _doneBefore(done) {}

    void showEnd(bool isFailed) {
        ++_done;
        if (isFailed) ++_failed;
        const double now = Kr::SteadyClock::instance().getSeconds();
        if (now < _next) return;
        _next = now + (_isTerminal ? kTerminalIntervalSeconds : kLineIntervalSeconds);
        const auto own = static_cast<double>(_done - _doneBefore);
        const double left = (now - _begin) / own * static_cast<double>(_count - _done);
        std::fprintf(stderr, "%skrsim: %zu of %zu runs, %zu failed, about %.0f s left%s", _isTerminal ? "\r" : "",
                     _done, _count, _failed, left, _isTerminal ? "\033[K" : "\n");
        std::fflush(stderr);
    }
    void clear() const {
        if (_isTerminal) std::fputs("\r\033[K", stderr);
    }

private:
    const bool _isTerminal{::isatty(STDERR_FILENO) == 1};
    const std::size_t _count;
    std::size_t _done;
    const std::size_t _doneBefore;
    std::size_t _failed{0};
    const double _begin{Kr::SteadyClock::instance().getSeconds()};
    double _next{_begin + (_isTerminal ? kTerminalIntervalSeconds : kLineIntervalSeconds)};
};

/// The processes of the runs that are missing.
class Runs {
public:
    Runs(const SweepCommandPlan& plan, const std::vector<SweepRun>& runs, const SweepFolder& folder,
         const SweepSignals& signals)
        : _plan(plan), _runs(runs), _folder(folder), _signals(signals), _outcomes(runs.size()) {
        for (std::size_t i = 0; i < runs.size(); ++i) {
            SweepResult result;
            if (readSweepResult(folder.getResultFile(runs[i].number), result)) {
                _outcomes[i].result = std::move(result);
            } else {
                _missing.push_back(i);
            }
        }
        _isFirstOpen = _missing.size() == runs.size();
    }

    /// Throws the Failure of the first run when it shows that none can begin.
    std::vector<SweepOutcome> complete() {
        const std::size_t jobs = _plan.jobs != 0 ? _plan.jobs : std::max(1U, std::thread::hardware_concurrency());
        Progress progress(_runs.size(), _runs.size() - _missing.size());
        std::fprintf(stderr, "krsim: %zu runs, %zu of them done before, %zu at the same time\n", _runs.size(),
                     _runs.size() - _missing.size(), jobs);
        std::size_t next = 0;
        while (true) {
            // The first one alone: what is wrong with all of them is told once.
            const std::size_t room = next == 0 || _isFirstOpen ? 1 : jobs;
            while (receivedSignal == 0 && next < _missing.size() && _active.size() < room)
                _start(_missing[next++]);
            if (_active.empty()) break;
            _waitForOne(progress);
        }
        progress.clear();
        return std::move(_outcomes);
    }

private:
    void _start(std::size_t index) {
        std::fflush(nullptr);  // or both processes would write what waits
        const pid_t process = ::fork();
        if (process == 0) becomeRun(_plan, _runs[index], _folder, _signals);
        if (process < 0)
            throw Failure(eExitCode::kFailed, std::string("no process can be started: ") + std::strerror(errno));
        _active.emplace(process, index);
    }

    void _waitForOne(Progress& progress) {
        int status = 0;
        const pid_t process = ::waitpid(-1, &status, 0);
        if (process < 0 && errno != EINTR)
            throw Failure(eExitCode::kFailed, std::string("the ends of runs are not told: ") + std::strerror(errno));
        const auto found = _active.find(process);
        if (found == _active.end()) return;  // a signal
        const auto index = found->second;
        _active.erase(found);
        auto& outcome = _outcomes[index];
        const auto number = _runs[index].number;
        SweepResult result;
        if (readSweepResult(_folder.getResultFile(number), result)) {
            outcome.result = std::move(result);
        } else {
            outcome.failure = receivedSignal != 0 ? "" : describeEnd(status, _folder, number);
            const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
            const bool isRefused =
                code >= static_cast<int>(eExitCode::kUsage) && code <= static_cast<int>(eExitCode::kMissingPlugin);
            if (_isFirstOpen && isRefused && receivedSignal == 0)
                throw Failure(static_cast<eExitCode>(code),
                              outcome.failure + " (run " + std::to_string(number) + ", the first one)");
        }
        _isFirstOpen = false;
        const bool isGood = outcome.isGood();
        if (isGood) static_cast<void>(std::remove(_folder.getLogFile(number).c_str()));
        progress.showEnd(!isGood);
    }

    const SweepCommandPlan& _plan;
    const std::vector<SweepRun>& _runs;
    const SweepFolder& _folder;
    const SweepSignals& _signals;
    std::vector<SweepOutcome> _outcomes;
    std::vector<std::size_t> _missing;
    std::map<pid_t, std::size_t> _active;
    bool _isFirstOpen{true};  // no run has shown yet that runs can begin
};

}  // namespace

eExitCode runSweep(const SweepCommandPlan& given) {
    SweepCommandPlan plan = given;
    plan.sweep.seed = plan.run.seed.value_or(0);
    const std::string table = plan.table.empty() && !plan.printsJson ? kStandardStream : plan.table;
    if (!table.empty()) requireWritable(eOutputKind::kTable, table, plan.isForced);
    std::string problem;
    const auto runs = KrExperiments::makeRuns(plan.sweep, problem);
    if (!problem.empty()) throw Failure(eExitCode::kUsage, problem);
    const SweepFolder folder(plan, runs);
    const SweepSignals signals;
    const auto outcomes = Runs(plan, runs, folder, signals).complete();
    if (!table.empty()) writeSweepTable(plan, table, runs, outcomes);
    if (plan.printsJson) std::fputs(formatSweepJson(runs, outcomes).c_str(), stdout);
    const auto failed =
        std::count_if(outcomes.begin(), outcomes.end(), [](const SweepOutcome& each) { return !each.isGood(); });
    if (receivedSignal != 0) {
        const auto missing =
            std::count_if(outcomes.begin(), outcomes.end(), [](const SweepOutcome& each) { return !each.result; });
        std::fprintf(stderr, "krsim: ended by a signal; %td of %zu runs are missing, and the same command runs them\n",
                     missing, runs.size());
        return SweepSignals::getExitCode();
    }
    if (failed != 0)
        std::fprintf(stderr, "krsim: %td of %zu runs failed; the results have the reasons\n", failed, runs.size());
    return failed != 0 && !plan.run.keepsGoing ? eExitCode::kFailed : eExitCode::kOk;
}

}  // namespace krsim
