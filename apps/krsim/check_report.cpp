#include <algorithm>
#include <cstdio>

#include "apps/krsim/run_conditions.h"

namespace krsim {
namespace {

std::string formatSeconds(const KrConditions::ConditionMoment& moment) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s", moment.seconds);
    return text;
}

std::string formatCheck(const KrConditions::CheckResult& check) {
    const auto& first = check.first;
    const auto& last = check.last;
    std::string text = "  '" + check.condition + "': failed ";
    if (check.failures == 1) {
        text += "in frame " + std::to_string(first.frame) + " (" + formatSeconds(first) + ")";
    } else {
        text += std::to_string(check.failures) + " times in frames " + std::to_string(first.frame) + " to " +
                std::to_string(last.frame) + " (" + formatSeconds(first) + " to " + formatSeconds(last) + ")";
    }
    if (!first.values.empty()) text += ": " + first.values;
    if (!last.values.empty() && check.failures > 1) text += "; last " + last.values;
    return text + (check.reason.empty() ? "" : "; " + check.reason) + "\n";
}

}  // namespace

bool hasFailedChecks(const ConditionResult& result) noexcept {
    return std::any_of(result.checks.begin(), result.checks.end(),
                       [](const KrConditions::CheckResult& each) { return each.failures > 0; });
}

std::string formatChecks(const ConditionResult& result) {
    if (result.checks.empty()) return {};
    std::string failed;
    std::size_t count = 0;
    for (const auto& each : result.checks) {
        if (each.failures == 0) continue;
        ++count;
        failed += formatCheck(each);
    }
    const auto all = std::to_string(result.checks.size());
    if (count == 0) return "krsim: checks: " + all + ", none failed\n";
    return "krsim: failed checks: " + std::to_string(count) + " of " + all + "\n" + failed;
}

}  // namespace krsim
