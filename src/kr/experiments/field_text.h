#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kr/application/fwd.h"
#include "kr/core/unit_system.h"
#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrExperiments {

/// The unit system in which values are shown and numbers without a unit are read; none for the display units of the
/// fields, whatever their system.
using ShownUnits = std::optional<Kr::eUnitSystem>;

/// The unit system of the first Unit System in the content, if it has one.
/// Thread: application.
[[nodiscard]] KR_API ShownUnits findUnitSystem(const KrSim::KrApplication& application);

/// The unit of the numbers of a field: in the system its display unit or the counterpart. The SI unit for matrices and
/// other values that are not converted; kNone for a field without a dimension.
[[nodiscard]] KR_API Kr::KrPhysicalDimension::eDimensionHint getShownUnit(const KrData::FieldBase& field,
                                                                          ShownUnits units = {});

/// The value with its unit, as people read it: "12.5 km/h" in the shown unit of the field, "1 2 3 km".
/// Thread: application.
[[nodiscard]] KR_API std::string formatField(const KrData::FieldBase& field, ShownUnits units = {});

/// The range of the field as people read it: "1 kg to 100 kg", "at least 1"; empty for a field without one.
/// Thread: application.
[[nodiscard]] KR_API std::string formatRange(const KrData::FieldBase& field, ShownUnits units = {});

/// Whether setField can read values of the field: everything but lists, containers and references.
[[nodiscard]] KR_API bool takesText(const KrData::FieldBase& field);

/// Sets the value from a text of a person.
///
/// Numbers have a unit of the dimension of the field, "1.9 t", or are in its shown unit. Several numbers, of a vector
/// or a colour, have blanks or commas between them, and one unit at the end. An enumeration is given by the text of its
/// value, a Boolean by true, false, yes, no, on, off, 1 or 0. The value is not clamped: one out of range is refused.
/// \return the problem, as the end of a message; empty when the value was set.
/// Thread: application.
[[nodiscard]] KR_API std::string setField(KrData::FieldBase& field, std::string_view text, ShownUnits units = {});

/// Reads a real number with a unit of the field's dimension, without its range.
/// \return the problem; empty when `number` has the value in SI units.
[[nodiscard]] KR_API std::string parseFieldNumber(const KrData::FieldBase& field, std::string_view text, double& number,
                                                  ShownUnits units = {});

}  // namespace KrExperiments
