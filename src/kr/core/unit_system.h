#pragma once

#include <cstdint>
#include <optional>

#include "kr/core/physical_dimension.h"
#include "kr/platform/export.h"

namespace Kr {

/// The units in which people want to see values. Registered (Kr::KrEnum); the numbers are stored in content.
enum class eUnitSystem : std::uint8_t {
    kSI = 0,           ///< SI units, their multiples, and the units that are used with them: hour, bar, litre
    kUSCustomary = 1,  ///< United States customary units
};

/// Whether the unit is one of the system. Many are of both: second, degree, percent, knot, volt. False for a hint
/// without a unit.
/// Thread: any.
[[nodiscard]] KR_API bool isUnitOf(KrPhysicalDimension::eDimensionHint hint, eUnitSystem system) noexcept;

/// The unit that shows a value of the dimension in the system: the hint where it is a unit of both dimension and
/// system, else its counterpart (km/h and mph, kN and lbf), and for a hint of another dimension or none the counterpart
/// of the SI unit. kNone for a dimension without units.
/// \param system  without one, a hint of the dimension is kept whatever its system.
/// Thread: any.
[[nodiscard]] KR_API KrPhysicalDimension::eDimensionHint chooseUnit(KrPhysicalDimension::ePhysicalDimension dimension,
                                                                    KrPhysicalDimension::eDimensionHint hint,
                                                                    std::optional<eUnitSystem> system) noexcept;

}  // namespace Kr
