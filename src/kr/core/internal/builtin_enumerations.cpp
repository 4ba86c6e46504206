#include "kr/core/internal/builtin_enumerations.h"

#include "kr/core/enum_table.h"
#include "kr/core/physical_dimension.h"
#include "kr/core/unit_system.h"
#include "kr/platform/log.h"

namespace Kr::detail {

namespace {

using EnumType = KrSim::KrEnumTable::EnumType;
using Dimension = KrPhysicalDimension::ePhysicalDimension;
using Hint = KrPhysicalDimension::eDimensionHint;

EnumType logLevels() {
    return EnumType::of<eLogLevel>("Kr::eLogLevel", {{eLogLevel::kOff, "Off"},
                                                     {eLogLevel::kFatal, "Fatal"},
                                                     {eLogLevel::kError, "Error"},
                                                     {eLogLevel::kWarn, "Warn"},
                                                     {eLogLevel::kInfo, "Info"},
                                                     {eLogLevel::kDebug, "Debug"},
                                                     {eLogLevel::kTrace, "Trace"},
                                                     {eLogLevel::kAll, "All"}});
}

EnumType physicalDimensions() {
    EnumType::Values values;
    for (int i = 0; i < KrPhysicalDimension::kDimensionCount; ++i) {
        values.emplace_back(i, KrPhysicalDimension::nameFor(static_cast<Dimension>(i)));
    }
    return {typeid(Dimension), "Kr::KrPhysicalDimension::ePhysicalDimension", std::move(values)};
}

EnumType dimensionHints() {
    EnumType::Values values{{static_cast<int>(Hint::kNone), "None"}};
    for (int i = 0; i < KrPhysicalDimension::kDimensionCount; ++i) {
        for (const auto& unit : KrPhysicalDimension::getUnits(static_cast<Dimension>(i))) {
            values.emplace_back(static_cast<int>(unit.hint), unit.name);
        }
    }
    return {typeid(Hint), "Kr::KrPhysicalDimension::eDimensionHint", std::move(values)};
}

EnumType unitSystems() {
    return EnumType::of<eUnitSystem>("Kr::eUnitSystem",
                                     {{eUnitSystem::kSI, "SI"}, {eUnitSystem::kUSCustomary, "US customary"}});
}

}  // namespace

void registerBuiltInEnumerations(KrSim::KrEnumTable& table) {
    for (const EnumType& type : {logLevels(), physicalDimensions(), dimensionHints(), unitSystems()})
        table.registerEnumeration(type);
}

}  // namespace Kr::detail
