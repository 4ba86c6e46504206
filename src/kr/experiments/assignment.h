#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/experiments/field_text.h"
#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrExperiments {

/// "Car/Vehicle.Mass=1.9 t": a value for the fields that a pattern means.
struct Assignment {
    std::string pattern{};  ///< see findFields
    std::string value{};    ///< see setField
};

/// Reads the text before and after the first '='. False for a text without one, or without a pattern.
[[nodiscard]] KR_API bool parseAssignment(std::string_view text, Assignment& assignment);

/// A field that was set.
struct AssignedField {
    std::string path{};    ///< the full one
    std::string before{};  ///< the value as people read it
    std::string after{};
};

struct AssignmentResult {
    std::vector<AssignedField> fields{};  ///< that were set, in order
    std::vector<std::string> problems{};  ///< each with the assignment and what to do; empty when all were carried out
};

/// Carries out assignments in their order; one that has a problem leaves its field as it is, and the next is tried.
/// Connected inputs are refused: their connection would set them in the first frame. Numbers without a unit are in the
/// unit in which `units` shows them.
/// Thread: application.
[[nodiscard]] KR_API AssignmentResult assignFields(const KrSim::KrApplication& application,
                                                   std::span<const Assignment> assignments, ShownUnits units = {});
/// The same for the fields of these extensions.
[[nodiscard]] KR_API AssignmentResult assignFields(std::span<KrSim::KrExtension* const> extensions,
                                                   std::span<const Assignment> assignments, ShownUnits units = {});

}  // namespace KrExperiments
