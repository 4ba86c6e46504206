#include "apps/krsim/run_conditions.h"

#include <functional>
#include <memory>

#include "apps/krsim/failure.h"
#include "kr/application/application.h"
#include "kr/conditions/condition.h"
#include "kr/experiments/overrides.h"

namespace krsim {
namespace {

void append(std::string& problems, const char* option, const std::string& problem) {
    if (problem.empty()) return;
    problems.append(problems.empty() ? "" : "\nkrsim: ").append(option).append(" ").append(problem);
}

}  // namespace

void enableOverrideConditions() {
    KrExperiments::Overrides::setConditionMaker(
        [](const KrSim::KrApplication& application, const std::string& text, std::string& problem) {
            const auto condition = std::make_shared<KrConditions::Condition>(application, text);
            problem = condition->describeProblem();
            std::function<bool()> holds;
            if (problem.empty())
                holds = [condition] { return condition->evaluate() == KrConditions::eConditionState::kHolds; };
            return holds;
        });
}

struct RunConditions::Parts {
    explicit Parts(KrSim::KrApplication& itsApplication) : application(itsApplication), watch(itsApplication) {
        application.registerListener(&watch);
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;
    ~Parts() { application.unregisterListener(&watch); }

    KrSim::KrApplication& application;
    KrConditions::ConditionWatch watch;
};

RunConditions::RunConditions(KrSim::KrApplication& application, const ConditionPlan& plan) {
    if (plan.isEmpty()) return;
    _parts = std::make_unique<Parts>(application);
    auto& watch = _parts->watch;
    watch.setStopsOnFailure(plan.stopsOnFailedCheck);
    std::string problems;
    for (const auto& each : plan.checks)
        append(problems, "--check", watch.addCheck(each));
    if (plan.stop) append(problems, "--stop-when", watch.addStop(*plan.stop));
    if (!problems.empty()) throw Failure(eExitCode::kUsage, problems);
}

RunConditions::~RunConditions() = default;

ConditionResult RunConditions::getResult() const {
    if (!_parts) return {};
    const auto& watch = _parts->watch;
    ConditionResult result{.checks = watch.getChecks(), .stop = watch.getStop()};
    if (!watch.isStoppedByFailure()) return result;
    for (const auto& each : result.checks)
        if (each.failures > 0 && result.failedCheck.empty()) result.failedCheck = each.condition;
    return result;
}

}  // namespace krsim
