#include "kr/experiments/override_plan.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <vector>

#include "kr/core/physical_dimension.h"
#include "kr/platform/nearest_name.h"
#include "kr/platform/text.h"

namespace KrExperiments {
namespace {

using Dimension = Kr::KrPhysicalDimension;

constexpr std::string_view kBlanks = " \t\r\n";

struct KindName {
    eOverrideKind kind;
    const char* name;
};
constexpr KindName kKinds[] = {{eOverrideKind::kForce, "force"},    {eOverrideKind::kBias, "bias"},
                               {eOverrideKind::kGain, "gain"},      {eOverrideKind::kFreeze, "freeze"},
                               {eOverrideKind::kDelay, "delay"},    {eOverrideKind::kNoise, "noise"},
                               {eOverrideKind::kDropout, "dropout"}};

/// Takes the first word away.
std::string_view takeWord(std::string_view& text) {
    text = Kr::trim(text);
    const auto word = text.substr(0, text.find_first_of(kBlanks));
    text = Kr::trim(text.substr(word.size()));
    return word;
}

/// Takes away what follows a word, from the word on. Empty without it.
std::optional<std::string_view> takeClause(std::string_view& text, std::string_view word) {
    for (auto at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
        const auto end = at + word.size();
        const bool isWord = (at == 0 || kBlanks.find(text[at - 1]) != std::string_view::npos) && end < text.size() &&
                            kBlanks.find(text[end]) != std::string_view::npos;
        if (!isWord) continue;
        const auto clause = Kr::trim(text.substr(end));
        text = Kr::trim(text.substr(0, at));
        return clause;
    }
    return std::nullopt;
}

std::string parseSeconds(std::string_view text, double& seconds) {
    const auto parsed = Dimension::parse(text, Kr::kTime);
    if (!parsed) return Kr::quote(text) + " is no time; write seconds, or a number with ms, s, min or h";
    seconds = *parsed;
    return {};
}

std::string parseTimes(std::string_view& text, OverridePlan& plan) {
    double seconds = 0.0;
    const auto until = takeClause(text, "until");
    const auto lasting = until ? std::nullopt : takeClause(text, "for");
    const auto from = takeClause(text, "from");
    if (from) {
        if (auto problem = parseSeconds(*from, plan.fromSeconds); !problem.empty()) return problem;
    }
    if (until) {
        if (auto problem = parseSeconds(*until, plan.untilSeconds); !problem.empty()) return problem;
    }
    if (lasting) {
        if (auto problem = parseSeconds(*lasting, seconds); !problem.empty()) return problem;
        if (!from) return "'for " + std::string(*lasting) + "' needs a 'from T' before it";
        plan.untilSeconds = plan.fromSeconds + seconds;
    }
    if (plan.untilSeconds <= plan.fromSeconds) return "it ends before it begins";
    return {};
}

}  // namespace

std::string parseOverride(std::string_view text, OverridePlan& plan) {
    const auto sign = text.find('=');
    if (sign == 0 || sign == std::string_view::npos) return Kr::quote(text) + " is not of the form PATH=KIND AMOUNT";
    plan = {};
    plan.pattern = Kr::trim(text.substr(0, sign));
    auto rest = text.substr(sign + 1);
    const auto name = takeWord(rest);
    const auto* kind =
        std::find_if(std::begin(kKinds), std::end(kKinds), [&](const auto& each) { return each.name == name; });
    if (kind == std::end(kKinds)) {
        std::vector<std::string> names;
        std::transform(std::begin(kKinds), std::end(kKinds), std::back_inserter(names),
                       [](const auto& each) { return each.name; });
        const auto hint = Kr::suggestName(name, names);  // a question
        return Kr::quote(name) + " is no kind of override" + hint + (hint.empty() ? "; " : " ") +
               "write force, bias, gain, freeze, delay, noise or dropout";
    }
    plan.kind = kind->kind;
    if (const auto condition = takeClause(rest, "when")) plan.condition = *condition;
    if (auto problem = parseTimes(rest, plan); !problem.empty()) return problem;
    plan.amount = Kr::trim(rest);
    if (plan.kind == eOverrideKind::kFreeze && !plan.amount.empty())
        return "'freeze' takes no amount, and " + Kr::quote(plan.amount) + " follows it";
    if (plan.kind != eOverrideKind::kFreeze && plan.amount.empty()) return Kr::quote(name) + " needs an amount";
    return {};
}

std::string describeOverride(const OverridePlan& plan) {
    const auto* kind =
        std::find_if(std::begin(kKinds), std::end(kKinds), [&](const auto& each) { return each.kind == plan.kind; });
    std::string text = kind->name;
    const auto add = [&](const char* word, const std::string& what) { text.append(word).append(what); };
    if (!plan.amount.empty()) add(" ", plan.amount);
    if (plan.fromSeconds != -OverridePlan::kNever) add(" from ", Dimension::format(plan.fromSeconds, Kr::kTime));
    if (plan.untilSeconds != OverridePlan::kNever) add(" until ", Dimension::format(plan.untilSeconds, Kr::kTime));
    if (!plan.condition.empty()) add(" when ", plan.condition);
    return text;
}

}  // namespace KrExperiments
