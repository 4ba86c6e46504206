#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/conditions/condition_watch.h"

namespace krsim {

/// Overrides of the run may have conditions from here on.
void enableOverrideConditions();

/// What is checked during a run, and what ends it; as KrConditions::Condition reads them.
struct ConditionPlan {
    std::vector<std::string> checks{};
    std::optional<std::string> stop{};  ///< the run ends after the frame in which it holds
    bool stopsOnFailedCheck{false};     ///< the frame in which a check fails is the last one

    [[nodiscard]] bool isEmpty() const noexcept { return checks.empty() && !stop; }
};

/// What became of them.
struct ConditionResult {
    std::vector<KrConditions::CheckResult> checks{};
    std::string stop{};         ///< the condition that has ended the run; empty when none has
    std::string failedCheck{};  ///< the check that has ended the run; empty when none has
};

/// Evaluates the conditions of the plan after each frame while it lives. The application is borrowed.
class RunConditions {
public:
    /// Throws a Failure with all problems, also where this program was built without conditions.
    RunConditions(KrSim::KrApplication& application, const ConditionPlan& plan);
    RunConditions(const RunConditions&) = delete;
    RunConditions& operator=(const RunConditions&) = delete;
    ~RunConditions();

    [[nodiscard]] ConditionResult getResult() const;

private:
    struct Parts;

    std::unique_ptr<Parts> _parts;  // null without conditions
};

[[nodiscard]] bool hasFailedChecks(const ConditionResult& result) noexcept;

/// The lines of the summary; empty without checks.
[[nodiscard]] std::string formatChecks(const ConditionResult& result);

}  // namespace krsim
