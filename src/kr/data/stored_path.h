#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kr/data/container.h"
#include "kr/platform/export.h"

// Paths that tell several fields with one identifier apart, for what is stored: connections, references, links. The
// second one of "Inputs.Force" is "Inputs.Force{2}". All other paths are those of FieldBase::getPath.

namespace KrData {

[[nodiscard]] KR_API std::string _getStoredPath(const FieldBase& field);
/// The field below the outermost container of a tree that has this stored path, or null. Paths without a number are
/// found as FieldBase::getPath answers them.
[[nodiscard]] KR_API FieldBase* _findStoredPath(const Container& top, std::string_view path);
/// The last step of the stored path of a field.
[[nodiscard]] KR_API std::string _getStoredStep(const FieldBase& field);
/// \param rank  how many siblings of this identifier stand in front.
[[nodiscard]] KR_API std::string _getStoredStep(const Kr::KrID& id, std::size_t rank);
/// The step of a field that is to be added at the end.
[[nodiscard]] KR_API std::string _getNextStoredStep(const Container& container, const Kr::KrID& id);

}  // namespace KrData
