#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kr/data/container.h"
#include "kr/platform/export.h"

// Paths that distinguish several fields with one identifier, for storage: connections, references, links. The second
// field "Inputs.Force" is "Inputs.Force{2}". All other paths are those of FieldBase::getPath.

namespace KrData {

[[nodiscard]] KR_API std::string _getStoredPath(const FieldBase& field);
/// The field below the outermost container of a tree with this stored path, or null. Paths without a number are found
/// as FieldBase::getPath returns them.
[[nodiscard]] KR_API FieldBase* _findStoredPath(const Container& top, std::string_view path);
/// The last step of the stored path of a field.
[[nodiscard]] KR_API std::string _getStoredStep(const FieldBase& field);
/// \param rank  number of earlier siblings with this identifier.
[[nodiscard]] KR_API std::string _getStoredStep(const Kr::KrID& id, std::size_t rank);
/// The step of a field that will be appended.
[[nodiscard]] KR_API std::string _getNextStoredStep(const Container& container, const Kr::KrID& id);

}  // namespace KrData
