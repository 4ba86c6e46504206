#include "kr/experiments/sweep.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numeric>
#include <optional>
#include <random>

#include "kr/core/physical_dimension.h"
#include "kr/core/unit_spelling.h"
#include "kr/platform/text.h"

namespace KrExperiments {
namespace {

using Dimension = Kr::KrPhysicalDimension;

constexpr std::size_t kMostRuns = 1'000'000;
/// Of a step; an end that is so near to a step belongs to the range. Less is the rounding of the numbers.
constexpr double kRounding = 1e-9;

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const auto end = std::min(text.find(separator, begin), text.size());
        parts.emplace_back(Kr::trim(text.substr(begin, end - begin)));
        begin = end + 1;
    }
    return parts;
}

struct Quantity {
    double number{0.0};
    std::string unit{};
};

std::optional<Quantity> parseQuantity(const std::string& text) {
    Quantity quantity;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), quantity.number);
    if (error != std::errc() || !std::isfinite(quantity.number)) return std::nullopt;
    quantity.unit = Kr::trim(std::string_view(text).substr(static_cast<std::size_t>(end - text.data())));
    return quantity;
}

/// The number in another unit of the same dimension. \param isStep  a difference, for which offsets do not count.
std::optional<double> convert(const Quantity& quantity, const std::string& unit, bool isStep) {
    if (quantity.unit == unit) return quantity.number;
    for (int i = 0; i < Dimension::kDimensionCount; ++i) {
        const auto dimension = static_cast<Dimension::ePhysicalDimension>(i);
        const auto* from = Kr::findUnitBySpelling(dimension, quantity.unit);
        const auto* to = Kr::findUnitBySpelling(dimension, unit);
        if (from == nullptr || to == nullptr || quantity.unit.empty() || unit.empty()) continue;
        const double offset = isStep ? 0.0 : from->offset - to->offset;
        return (quantity.number * from->factor + offset) / to->factor;
    }
    return std::nullopt;
}

/// Without the digits that are rounding.
std::string formatQuantity(double number, const std::string& unit) {
    char digits[Kr::kNumberTextBytes];
    const auto end = std::to_chars(digits, digits + sizeof digits, number, std::chars_format::general, 12).ptr;
    std::string text(digits, end);
    return unit.empty() ? text : text + " " + unit;
}

std::string parseRange(const std::vector<std::string>& parts, Variation& variation) {
    const auto first = parseQuantity(parts[0]);
    if (!first) return Kr::quote(parts[0]) + " is no number";
    variation.unit = first->unit;
    std::vector<double> numbers;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const auto quantity = parseQuantity(parts[i]);
        if (!quantity) return Kr::quote(parts[i]) + " is no number";
        const auto number = convert(*quantity, first->unit, i == 2);
        if (!number) return Kr::quote(parts[i]) + " has another unit than " + Kr::quote(parts[0]);
        numbers.push_back(*number);
    }
    variation.isRange = true;
    variation.first = numbers[0];
    variation.last = numbers[1];
    if (numbers.size() == 2) return variation.first < variation.last ? "" : "the range ends before it begins";
    const double steps = (numbers[1] - numbers[0]) / numbers[2];
    if (!(steps >= 0.0) || std::isinf(steps))
        return "its steps do not lead from " + Kr::quote(parts[0]) + " to " + Kr::quote(parts[1]);
    if (!(steps < static_cast<double>(kMostRuns))) return "it has too many steps";
    const auto count = static_cast<std::size_t>(steps + kRounding) + 1;
    for (std::size_t i = 0; i < count; ++i)
        variation.values.push_back(formatQuantity(numbers[0] + static_cast<double>(i) * numbers[2], first->unit));
    return {};
}

/// Evenly in [0, 1), with the same bits everywhere.
double draw(std::mt19937_64& random) {
    return static_cast<double>(random() >> 11U) * 0x1p-53;
}

/// \param place  in [0, 1) of the range, or of the list.
std::string take(const Variation& variation, double place) {
    if (variation.isRange)
        return formatQuantity(variation.first + place * (variation.last - variation.first), variation.unit);
    const auto count = static_cast<double>(variation.values.size());
    return variation.values[std::min(static_cast<std::size_t>(place * count), variation.values.size() - 1)];
}

std::vector<SweepRun> makeGrid(const SweepPlan& plan, std::string& problem) {
    std::size_t count = 1;
    for (const auto& each : plan.variations) {
        if (each.values.empty()) {
            problem = Kr::quote(each.pattern) + " has a range without a step, which is for random samples";
            return {};
        }
        if (each.values.size() > kMostRuns / count) {
            problem = "there are more than a million combinations";
            return {};
        }
        count *= each.values.size();
    }
    std::vector<SweepRun> runs(count);
    for (std::size_t i = 0; i < count; ++i) {
        runs[i].seed = plan.seed;
        std::size_t rest = count;
        std::size_t index = i;
        for (const auto& each : plan.variations) {
            rest /= each.values.size();
            runs[i].assignments.push_back({each.pattern, each.values[index / rest]});
            index %= rest;
        }
    }
    return runs;
}

std::vector<SweepRun> makeSamples(const SweepPlan& plan) {
    std::mt19937_64 random(plan.seed);
    const bool isLatin = plan.sampling == eSampling::kLatin;
    std::vector<SweepRun> runs(plan.runs);
    for (const auto& each : plan.variations) {
        std::vector<std::size_t> parts(plan.runs);
        std::iota(parts.begin(), parts.end(), std::size_t{0});
        // Not std::shuffle, whose results differ between standard libraries.
        for (std::size_t i = parts.size(); isLatin && i > 1; --i)
            std::swap(parts[i - 1], parts[static_cast<std::size_t>(draw(random) * static_cast<double>(i))]);
        for (std::size_t i = 0; i < runs.size(); ++i) {
            const double place = draw(random);
            const auto count = static_cast<double>(runs.size());
            runs[i].assignments.push_back(
                {each.pattern, take(each, isLatin ? (static_cast<double>(parts[i]) + place) / count : place)});
        }
    }
    for (std::size_t i = 0; i < runs.size(); ++i)
        runs[i].seed = plan.seed + static_cast<std::uint32_t>(i);
    return runs;
}

}  // namespace

std::string parseVariation(std::string_view text, Variation& variation) {
    variation = {};
    Assignment assignment;
    if (!parseAssignment(text, assignment))
        return Kr::quote(text) + " is not of the form PATH=FROM:TO:STEP or PATH=A,B,C";
    variation.pattern = Kr::trim(assignment.pattern);
    const auto parts = split(assignment.value, ':');
    if (parts.size() > 3) return Kr::quote(assignment.value) + " has more than FROM:TO:STEP";
    if (parts.size() > 1) return parseRange(parts, variation);
    variation.values = split(assignment.value, ',');
    const bool hasEmpty = std::any_of(variation.values.begin(), variation.values.end(),
                                      [](const std::string& each) { return each.empty(); });
    return hasEmpty ? Kr::quote(assignment.value) + " has an empty value" : "";
}

std::vector<SweepRun> makeRuns(const SweepPlan& plan, std::string& problem) {
    problem.clear();
    if (plan.sampling != eSampling::kGrid && (plan.runs == 0 || plan.runs > kMostRuns)) {
        problem = "there are 1 to a million random samples";
        return {};
    }
    auto runs = plan.sampling == eSampling::kGrid ? makeGrid(plan, problem) : makeSamples(plan);
    for (std::size_t i = 0; i < runs.size(); ++i)
        runs[i].number = i + 1;
    return runs;
}

}  // namespace KrExperiments
