#include "kr/conditions/condition.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "kr/application/application.h"
#include "kr/application/context/application_context.h"
#include "kr/conditions/internal/condition_binder.h"
#include "kr/conditions/internal/condition_fault.h"
#include "kr/conditions/internal/condition_grammar.h"
#include "kr/conditions/internal/condition_scanner.h"
#include "kr/conditions/internal/formula.h"

namespace KrConditions {
namespace {

/// From 1 on; a character of UTF-8 begins with any byte but 10xxxxxx.
std::size_t toColumn(std::string_view text, std::size_t at) {
    const auto before = text.substr(0, at);
    const auto isFirstByte = [](char each) { return (static_cast<unsigned char>(each) & 0xC0U) != 0x80U; };
    return static_cast<std::size_t>(std::count_if(before.begin(), before.end(), isFirstByte)) + 1;
}

}  // namespace

struct Condition::Parts {
    Parts(const KrSim::KrApplication& application, std::string_view itsText)
        : text(itsText), context(application.getContext()) {}

    void read(const KrSim::KrApplication& application) {
        if (text.size() > kMostBytes) {
            throw detail::ConditionFault{
                kMostBytes, "the condition is longer than " + std::to_string(kMostBytes) + " bytes; split it"};
        }
        auto tokens = detail::scanCondition(text);
        duration = detail::takeDuration(tokens);
        detail::checkGrammar(tokens);
        detail::ConditionBinder(application, tokens, formula, inputs).run();
    }

    std::string text;
    KrSim::ApplicationContext context;
    detail::Formula formula;
    detail::ConditionInputs inputs;
    ConditionProblem problem;
    std::optional<double> duration;  // in seconds, of "for"

    std::optional<std::uint32_t> lastFrame;
    std::optional<double> heldSince;  // simulated seconds, since when the rest of a condition with "for" holds
    bool hasFailed{false};            // it did not hold in a frame since the first one, or the restored one
};

Condition::Condition(const KrSim::KrApplication& application, std::string_view text)
    : _parts(std::make_unique<Parts>(application, text)) {
    try {
        _parts->read(application);
    } catch (const detail::ConditionFault& fault) {
        _parts->problem = {.text = fault.text, .column = toColumn(text, fault.at)};
    }
}

Condition::~Condition() = default;

const std::string& Condition::getText() const noexcept {
    return _parts->text;
}

const ConditionProblem& Condition::getProblem() const noexcept {
    return _parts->problem;
}

std::string Condition::describeProblem() const {
    constexpr std::size_t kMostShown = 200;
    const auto& problem = _parts->problem;
    if (!problem) return {};
    const auto& text = _parts->text;
    // Whole characters.
    std::size_t shown = std::min(text.size(), kMostShown);
    while (shown < text.size() && shown > 0 && (static_cast<unsigned char>(text[shown]) & 0xC0U) == 0x80U)
        --shown;
    return "'" + text.substr(0, shown) + (shown < text.size() ? "..." : "") + "', column " +
           std::to_string(problem.column) + ": " + problem.text;
}

std::span<const double> Condition::getValues() const noexcept {
    return _parts->inputs.values;
}

std::string Condition::formatValues(std::span<const double> values) const {
    const auto& fields = _parts->inputs.fields;
    std::string text;
    for (std::size_t i = 0; i < std::min(fields.size(), values.size()); ++i)
        text.append(text.empty() ? "" : ", ")
            .append(fields[i].getPath())
            .append(" = ")
            .append(fields[i].format(values[i]));
    return text;
}

std::string Condition::getRemovedField() const {
    const auto& fields = _parts->inputs.fields;
    const auto isRemoved = [](const detail::BoundField& each) { return !each.exists(); };
    const auto found = std::find_if(fields.begin(), fields.end(), isRemoved);
    return found != fields.end() ? found->getPath() : "";
}

eConditionState Condition::evaluate() {
    auto& parts = *_parts;
    if (parts.problem) return eConditionState::kFails;
    const std::uint32_t frame = parts.context.getFrame();
    if (parts.lastFrame == frame) return eConditionState::kPaused;
    if (parts.lastFrame && frame < *parts.lastFrame) {
        parts.heldSince.reset();
        parts.hasFailed = false;
    }
    parts.lastFrame = frame;
    parts.inputs.frame = static_cast<double>(frame) + 1.0;
    parts.inputs.seconds = parts.context.getSimulatedSeconds() + parts.context.getStepSeconds();
    const auto state = _evaluateFrame();
    if (state == eConditionState::kHolds || state == eConditionState::kFails)
        return _decide(state == eConditionState::kHolds, parts.inputs.seconds);
    (void)_decide(false, parts.inputs.seconds);
    return state;
}

eConditionState Condition::_evaluateFrame() {
    auto& inputs = _parts->inputs;
    bool hasNaN = false;
    for (std::size_t i = 0; i < inputs.fields.size(); ++i) {
        const auto value = inputs.fields[i].read();
        if (!value) return eConditionState::kFieldRemoved;
        inputs.values[i] = *value;
        hasNaN = hasNaN || std::isnan(*value);
    }
    const double result = _parts->formula.evaluate();
    if (hasNaN || std::isnan(result)) return eConditionState::kNotANumber;
    return result != 0.0 ? eConditionState::kHolds : eConditionState::kFails;
}

eConditionState Condition::_decide(bool isTrue, double seconds) {
    auto& parts = *_parts;
    if (!parts.duration) return isTrue ? eConditionState::kHolds : eConditionState::kFails;
    if (!isTrue) {
        parts.heldSince.reset();
        parts.hasFailed = true;
        return eConditionState::kFails;
    }
    if (!parts.heldSince) parts.heldSince = seconds;
    // A time of whole frames is reached in spite of the rounding of sums.
    const double tolerance = 1e-6 * parts.context.getSimulationTimeStep();
    if (seconds - *parts.heldSince >= *parts.duration - tolerance) return eConditionState::kHolds;
    return parts.hasFailed ? eConditionState::kFails : eConditionState::kUndecided;
}

}  // namespace KrConditions
