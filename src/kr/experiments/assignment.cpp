#include "kr/experiments/assignment.h"

#include "kr/data/field_access.h"
#include "kr/data/field_base.h"
#include "kr/experiments/field_search.h"
#include "kr/experiments/field_text.h"

namespace KrExperiments {
namespace {

std::string assign(const FoundField& found, const std::string& value, ShownUnits units, AssignmentResult& result) {
    if (KrData::detail::FieldAccess::hasIncomingConnections(*found.field)) {
        return "a connection sets it in each frame; set the field at the other end, or override this one";
    }
    AssignedField assigned{.path = found.path, .before = formatField(*found.field, units)};
    auto problem = setField(*found.field, value, units);
    if (!problem.empty()) return problem;
    assigned.after = formatField(*found.field, units);
    result.fields.push_back(std::move(assigned));
    return {};
}

}  // namespace

bool parseAssignment(std::string_view text, Assignment& assignment) {
    const auto sign = text.find('=');
    if (sign == 0 || sign == std::string_view::npos) return false;
    assignment.pattern = text.substr(0, sign);
    assignment.value = text.substr(sign + 1);
    return true;
}

AssignmentResult assignFields(std::span<KrSim::KrExtension* const> extensions, std::span<const Assignment> assignments,
                              ShownUnits units) {
    AssignmentResult result;
    for (const auto& each : assignments) {
        const auto prefix = std::string("'").append(each.pattern).append("=").append(each.value).append("': ");
        const auto found = findMeantFields(extensions, each.pattern);
        if (!found.problem.empty()) result.problems.push_back(prefix + found.problem);
        for (const auto& field : found.fields) {
            const auto problem = assign(field, each.value, units, result);
            if (!problem.empty())
                result.problems.push_back(std::string(prefix).append(field.path).append(": ").append(problem));
        }
    }
    return result;
}

AssignmentResult assignFields(const KrSim::KrApplication& application, std::span<const Assignment> assignments,
                              ShownUnits units) {
    return assignFields(getSimulatedExtensions(application), assignments, units);
}

}  // namespace KrExperiments
