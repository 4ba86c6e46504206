#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/application/i_application_listener.h"
#include "kr/platform/export.h"

namespace KrConditions {

/// A frame and what a condition has read in it.
struct ConditionMoment {
    std::uint64_t frame{0};  ///< 1 is the first one; 0 for none
    double seconds{0.0};     ///< simulated, when the frame ends
    std::string values{};    ///< of the fields, "Car/Vehicle.Outputs.Speed = 12 m/s"; empty for a removed field
};

/// What became of a check.
struct CheckResult {
    std::string condition{};
    std::uint64_t failures{0};  ///< frames in which it did not hold
    ConditionMoment first{};    ///< failure
    ConditionMoment last{};
    std::string reason{};  ///< when it is not just that the condition was false: a NaN, or a removed field
};

/// Evaluates conditions after each frame of an application, without allocating in a steady frame: checks, which must
/// hold, and conditions that end the run.
///
///     KrConditions::ConditionWatch watch(application);
///     if (auto problem = watch.addCheck("Vehicle.Speed < 140 km/h"); !problem.empty()) return report(problem);
///     application.registerListener(&watch);
///     application.run({.seconds = 60.0});
///     application.unregisterListener(&watch);
///     for (const auto& check : watch.getChecks()) report(check);
///
/// The first failure of each check is logged as a warning. What cannot be evaluated is logged once, too: a check fails
/// when a field is NaN, and once, for the rest of the run, when one is removed; a condition to stop then does not hold.
/// A condition with "for" that is not decided yet is no failure. Thread: application. Ownership: borrows the
/// application.
class KR_API ConditionWatch final : public KrSim::IApplicationListener {
public:
    explicit ConditionWatch(const KrSim::KrApplication& application);
    ~ConditionWatch() override;

    /// A condition that must hold after each frame. See Condition.
    /// \return the problem, which says the condition and the column; then it is not added. Else empty.
    [[nodiscard]] std::string addCheck(std::string_view condition);
    /// A condition that ends the run after the first frame in which it holds.
    [[nodiscard]] std::string addStop(std::string_view condition);
    /// Whether the first failure of a check ends the run after its frame; false initially.
    void setStopsOnFailure(bool stops) noexcept;

    /// In the order in which they were added.
    [[nodiscard]] std::vector<CheckResult> getChecks() const;
    [[nodiscard]] bool hasFailures() const noexcept;
    /// The condition that has ended the run; empty when none has.
    [[nodiscard]] const std::string& getStop() const noexcept;
    /// Whether a failure has ended the run.
    [[nodiscard]] bool isStoppedByFailure() const noexcept;

    void onFrameEnded(KrSim::KrApplication* application) override;

private:
    struct Parts;

    void _evaluateChecks(KrSim::KrApplication& application);
    void _evaluateStops(KrSim::KrApplication& application);

    std::unique_ptr<Parts> _parts;
};

}  // namespace KrConditions
