#include "kr/conditions/condition_watch.h"

#include <algorithm>
#include <span>

#include "kr/application/application.h"
#include "kr/application/context/application_context.h"
#include "kr/conditions/condition.h"
#include "kr/platform/log.h"

namespace KrConditions {
namespace {

/// Numbers only: texts are made when someone reads them.
struct Record {
    std::uint64_t frame{0};
    double seconds{0.0};
    std::vector<double> values;

    void take(std::uint64_t itsFrame, double itsSeconds, std::span<const double> itsValues) {
        frame = itsFrame;
        seconds = itsSeconds;
        values.assign(itsValues.begin(), itsValues.end());
    }
};

/// A condition, and what must be told only once.
class Watched {
public:
    Watched(const KrSim::KrApplication& application, std::string_view text) : condition(application, text) {
        first.values.reserve(condition.getValues().size());
        last.values.reserve(condition.getValues().size());
    }

    eConditionState evaluate(const char* consequence) {
        if (isGone) return eConditionState::kPaused;
        const auto state = condition.evaluate();
        if (state == eConditionState::kFieldRemoved) {
            isGone = true;
            // Before the number that is NaN: it stays the reason.
            if (reason.empty()) reason = "'" + condition.getRemovedField() + "' was removed";
            Kr::logMessage(Kr::eLogLevel::kWarn, "ConditionWatch: '%s': '%s' was removed; %s\n",
                           condition.getText().c_str(), condition.getRemovedField().c_str(), consequence);
        } else if (state == eConditionState::kNotANumber && !hadNaN) {
            hadNaN = true;
            reason = "not a number: " + condition.formatValues(condition.getValues());
            Kr::logMessage(Kr::eLogLevel::kWarn, "ConditionWatch: '%s' cannot be evaluated, %s; %s\n",
                           condition.getText().c_str(), reason.c_str(), consequence);
        }
        return state;
    }

    void addFailure(std::uint64_t frame, double seconds, eConditionState state) {
        const bool hasValues = state != eConditionState::kFieldRemoved;
        const auto values = hasValues ? condition.getValues() : std::span<const double>();
        if (failures++ == 0) first.take(frame, seconds, values);
        last.take(frame, seconds, values);
        if (failures > 1 || !reason.empty()) return;
        const auto read = condition.formatValues(values);
        Kr::logMessage(Kr::eLogLevel::kWarn, "ConditionWatch: check '%s' failed in frame %llu (%.3f s)%s\n",
                       condition.getText().c_str(), static_cast<unsigned long long>(frame), seconds,
                       (read.empty() ? read : ": " + read).c_str());
    }

    [[nodiscard]] ConditionMoment describe(const Record& record) const {
        return {.frame = record.frame, .seconds = record.seconds, .values = condition.formatValues(record.values)};
    }

    Condition condition;
    std::uint64_t failures{0};
    Record first;
    Record last;
    std::string reason;
    bool isGone{false};
    bool hadNaN{false};
};

using WatchedList = std::vector<std::unique_ptr<Watched>>;

std::string add(WatchedList& list, const KrSim::KrApplication& application, std::string_view text) {
    auto watched = std::make_unique<Watched>(application, text);
    if (watched->condition.getProblem()) return watched->condition.describeProblem();
    list.push_back(std::move(watched));
    return {};
}

}  // namespace

struct ConditionWatch::Parts {
    const KrSim::KrApplication& application;
    WatchedList checks{};
    WatchedList stops{};
    bool stopsOnFailure{false};
    bool hasFailures{false};
    bool isStoppedByFailure{false};
    std::string stop{};
};

ConditionWatch::ConditionWatch(const KrSim::KrApplication& application)
    : _parts(std::make_unique<Parts>(Parts{.application = application})) {}

ConditionWatch::~ConditionWatch() = default;

std::string ConditionWatch::addCheck(std::string_view condition) {
    return add(_parts->checks, _parts->application, condition);
}

std::string ConditionWatch::addStop(std::string_view condition) {
    return add(_parts->stops, _parts->application, condition);
}

void ConditionWatch::setStopsOnFailure(bool stops) noexcept {
    _parts->stopsOnFailure = stops;
}

std::vector<CheckResult> ConditionWatch::getChecks() const {
    std::vector<CheckResult> results;
    for (const auto& each : _parts->checks) {
        results.push_back({.condition = each->condition.getText(),
                           .failures = each->failures,
                           .first = each->describe(each->first),
                           .last = each->describe(each->last),
                           .reason = each->reason});
    }
    return results;
}

bool ConditionWatch::hasFailures() const noexcept {
    return _parts->hasFailures;
}

const std::string& ConditionWatch::getStop() const noexcept {
    return _parts->stop;
}

bool ConditionWatch::isStoppedByFailure() const noexcept {
    return _parts->isStoppedByFailure;
}

void ConditionWatch::onFrameEnded(KrSim::KrApplication* application) {
    _evaluateChecks(*application);
    _evaluateStops(*application);
}

void ConditionWatch::_evaluateChecks(KrSim::KrApplication& application) {
    const auto& context = application.getContext();
    const std::uint64_t frame = std::uint64_t{context.getFrame()} + 1;
    const double seconds = static_cast<double>(frame) * context.getSimulationTimeStep();
    for (const auto& each : _parts->checks) {
        const auto state = each->evaluate("the check counts as failed");
        const bool isFailure = state == eConditionState::kFails || state == eConditionState::kNotANumber ||
                               state == eConditionState::kFieldRemoved;
        if (!isFailure) continue;
        each->addFailure(frame, seconds, state);
        _parts->hasFailures = true;
        if (!_parts->stopsOnFailure || _parts->isStoppedByFailure) continue;
        _parts->isStoppedByFailure = true;
        application.requestExitFromSignal();
    }
}

void ConditionWatch::_evaluateStops(KrSim::KrApplication& application) {
    for (const auto& each : _parts->stops) {
        if (each->evaluate("it ends no run") != eConditionState::kHolds || !_parts->stop.empty()) continue;
        _parts->stop = each->condition.getText();
        application.requestExitFromSignal();
    }
}

}  // namespace KrConditions
