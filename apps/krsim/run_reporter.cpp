#include "apps/krsim/run_reporter.h"

#include <cstdio>

#include "apps/krsim/run_watch.h"
#include "kr/application/application.h"

namespace krsim {
namespace {

constexpr double kTerminalIntervalSeconds = 0.25;
constexpr double kLineIntervalSeconds = 10.0;

template <class... Values>
std::string print(const char* format, Values... values) {
    char text[256];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

unsigned long long toCount(std::uint64_t number) {
    return number;
}

std::string describeLate(const KrSim::LateFrames& late, const char* reason) {
    constexpr double kMillisecondsPerSecond = 1000.0;
    return print("%llu %s (worst %.3f ms)", toCount(late.count), reason, late.worstSeconds * kMillisecondsPerSecond);
}

}  // namespace

RunReporter::RunReporter(StatusOutput& output, double beginSeconds)
    : _output(output),
      _intervalSeconds(output.isTerminal() ? kTerminalIntervalSeconds : kLineIntervalSeconds),
      _nextSeconds(beginSeconds + _intervalSeconds),
      _lastSeconds(beginSeconds) {}

void RunReporter::onFrameEnded(KrSim::KrApplication* application) {
    const auto& context = application->getContext();
    const double now = context.getElapsedSeconds();
    if (now < _nextSeconds) return;
    const auto all = context.getFrameStatistics();
    const auto failures = RunWatch::getFailureCount();
    _output.showStatus(
        print("frame %llu | %.2f s | real time x %.3f | late %llu", toCount(all.frames), all.simulatedSeconds,
              (all.simulatedSeconds - _lastSimulatedSeconds) / (now - _lastSeconds), toCount(all.getLateFrames())) +
        (failures > 0 ? print(" | failures %llu", toCount(failures)) : ""));
    // Not the interval added to the last moment: what was missed is not made up for.
    _nextSeconds = now + _intervalSeconds;
    _lastSeconds = now;
    _lastSimulatedSeconds = all.simulatedSeconds;
}

std::string describeEnd(const RunPlan& plan, const RunResult& result) {
    if (result.exitValue != 0) return "failed";
    if (result.signal != nullptr) return std::string("ended by ") + result.signal;
    if (!result.stopReason.empty()) return "ended by " + result.stopReason;
    if (result.isStopped) return "stopped by an output that became NaN";
    const auto& conditions = result.conditions;
    if (!conditions.stop.empty()) return "stopped by '" + conditions.stop + "'";
    if (!conditions.failedCheck.empty()) return "stopped by the failed check '" + conditions.failedCheck + "'";
    if (result.statistics.frames >= plan.limits.frames) return "all frames run";
    // The limit is rounded to whole frames.
    if (plan.limits.seconds - result.statistics.simulatedSeconds < 0.5 * result.stepSeconds)
        return "all seconds simulated";
    return "ended by the simulation";
}

std::string describeSeed(std::uint32_t seed) {
    return seed != 0 ? "krsim: random streams of seed " + std::to_string(seed) + "\n" : "";
}

std::string describeAssigned(const std::vector<KrExperiments::AssignedField>& fields) {
    std::string text;
    for (const auto& each : fields)
        text.append("krsim: ")
            .append(each.path)
            .append(" = ")
            .append(each.after)
            .append(", was ")
            .append(each.before) += "\n";
    return text;
}

std::vector<KrExperiments::OverrideStatus> getOverrides(const KrSim::KrApplication& application) {
    const auto* overrides = KrExperiments::Overrides::find(application);
    return overrides != nullptr ? overrides->getAll() : std::vector<KrExperiments::OverrideStatus>();
}

std::string describeOverrides(const KrSim::KrApplication& application) {
    std::string text;
    for (const auto& each : getOverrides(application))
        text.append("krsim: override of ").append(each.path).append(": ").append(each.text).append("\n");
    return text;
}

std::string formatSummary(const RunPlan& plan, const RunResult& result) {
    const auto& all = result.statistics;
    std::string text = "krsim: " + describeEnd(plan, result) + ": " +
                       print("%llu frames, %.3f s simulated in %.3f s (real time x %.3f, %.0f frames/s)\n",
                             toCount(all.frames), all.simulatedSeconds, result.realSeconds, all.meanRealTimeFactor,
                             result.realSeconds > 0.0 ? static_cast<double>(all.frames) / result.realSeconds : 0.0);
    text += describeSeed(result.randomSeed);
    if (!result.isPaced) return text;
    text += print("krsim: late frames: %llu", toCount(all.getLateFrames()));
    if (all.overworked.count > 0) text += "; " + describeLate(all.overworked, "after too much work");
    if (all.overslept.count > 0) text += "; " + describeLate(all.overslept, "woken too late");
    return text + "\n";
}

}  // namespace krsim
