#include "kr/experiments/run_statistics.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <type_traits>
#include <utility>

#include "kr/application/application.h"
#include "kr/data/field_base.h"
#include "kr/data/value_traits.h"
#include "kr/experiments/field_search.h"

namespace KrExperiments {
namespace {

bool isNumber(const KrData::FieldBase& field) {
    return KrData::withValueType(field.getDataType(),
                                 []<class T>(std::type_identity<T>) { return std::is_arithmetic_v<T>; });
}

}  // namespace

void RunStatistics::Sum::add(double value) noexcept {
    const double sum = total + value;
    lost += std::abs(total) >= std::abs(value) ? (total - sum) + value : (value - sum) + total;
    total = sum;
}

RunStatistics::RunStatistics(const KrSim::KrApplication& application, std::span<const std::string> patterns,
                             std::string& problem) {
    problem.clear();
    std::set<const KrData::FieldBase*> meant;
    for (const auto& pattern : patterns) {
        const auto found = findFields(application, pattern);
        const auto before = meant.size();
        for (const auto& each : found.fields)
            if (isNumber(*each.field)) meant.insert(each.field);
        if (!problem.empty() || meant.size() > before) continue;
        problem = !found.problem.empty() ? found.problem : "'" + pattern + "' means no field with a number";
    }
    for (const auto& [field, path] : findFields(application, "*").fields) {
        const bool isOutput = field->getFieldType() == KrData::Types::kOutput && isNumber(*field);
        if (patterns.empty() ? !isOutput : !meant.contains(field)) continue;
        auto& entry = _entries.emplace_back();
        entry.field = KrData::FieldReference(field);
        entry.statistics.path = path;
        entry.statistics.dimension = field->getPhysicalDimension();
    }
    if (problem.empty() && _entries.empty()) problem = "no output is a number";
}

RunStatistics::~RunStatistics() = default;

void RunStatistics::onFrameEnded(KrSim::KrApplication* application) {
    const auto frame = static_cast<std::int64_t>(application->getContext().getFrame());
    if (std::exchange(_lastFrame, frame) == frame) return;  // a paused one
    for (auto& each : _entries) {
        const auto* field = each.field.get();
        if (field == nullptr) continue;
        const double value = field->toReal();
        auto& all = each.statistics;
        const bool isFirst = all.frames++ == 0;
        all.last = value;
        all.minimum = isFirst || value < all.minimum || std::isnan(value) ? value : all.minimum;
        all.maximum = isFirst || value > all.maximum || std::isnan(value) ? value : all.maximum;
        each.values.add(value);
        each.squares.add(value * value);
    }
}

std::vector<FieldStatistics> RunStatistics::get() const {
    std::vector<FieldStatistics> all;
    for (const auto& each : _entries) {
        auto& made = all.emplace_back(each.statistics);
        if (made.frames == 0) continue;
        const auto count = static_cast<double>(made.frames);
        made.mean = each.values.get() / count;
        made.rms = std::sqrt(each.squares.get() / count);
        if (!std::isnan(made.mean)) continue;
        made.minimum = made.mean;
        made.maximum = made.mean;
    }
    return all;
}

}  // namespace KrExperiments
