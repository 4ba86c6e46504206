#include "apps/krsim/recorded_values.h"

#include <type_traits>

#include "kr/core/csv_table.h"
#include "kr/data/field.h"
#include "kr/data/value_traits.h"
#include "kr/data/vector_base.h"
#include "kr/experiments/field_search.h"
#include "kr/platform/text.h"

namespace krsim {
namespace {

using KrData::FieldBase;
using KrData::Types;
using eUnit = Kr::KrPhysicalDimension::eDimensionHint;

template <class Number>
void appendNumber(std::string& line, Number number, eUnit unit) {
    line += ',';
    Kr::appendNumber(line, static_cast<Number>(Kr::KrPhysicalDimension::fromSI(static_cast<double>(number), unit)));
}

}  // namespace

std::vector<std::string> getColumnEndings(const FieldBase& field) {
    auto endings = KrExperiments::getComponentNames(field);
    for (auto& each : endings)
        each.insert(0, ".");
    return endings.empty() ? std::vector<std::string>{""} : endings;
}

void appendValue(std::string& line, const FieldBase& field, eUnit unit) {
    const bool isNumbers = KrData::withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
        const auto& value = static_cast<const KrData::Field<T>&>(field).getValue();
        if constexpr (std::is_floating_point_v<T>) {
            appendNumber(line, value, unit);
            return true;
        } else if constexpr (KrData::kHasComponents<T>) {
            for (const auto each : KrData::getComponents(value))
                appendNumber(line, each, unit);
            return true;
        } else if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
            if (unit == eUnit::kNone) return false;
            appendNumber(line, static_cast<double>(value), unit);
            return true;
        }
        return false;
    });
    if (isNumbers) return;
    line += ',';
    const bool isVector = field.getDataType() == Types::kVector;
    Kr::CsvTable::appendCell(line,
                             isVector ? static_cast<const KrData::VectorBase&>(field).getText() : field.toString());
}

}  // namespace krsim
