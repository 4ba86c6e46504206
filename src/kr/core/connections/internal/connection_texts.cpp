#include "kr/core/connections/internal/connection_texts.h"

#include "kr/core/connections/connection_checks.h"
#include "kr/data/field_base.h"
#include "kr/data/full_path.h"
#include "kr/extension/extension.h"
#include "kr/platform/log.h"

namespace Kr::detail {

std::string ownerNameOf(const KrData::FieldBase& field) {
    const auto* owner = field.getOwnerExtension();
    return owner != nullptr ? owner->getName() : std::string();
}

void reportDimensions(const KrData::FieldBase& source, const KrData::FieldBase& sink) {
    for (const auto& each : describeDimensionConflicts(source, sink))
        logMessage(eLogLevel::kWarn, "KrConnection: %s; check that these two are to be connected.\n", each.c_str());
}

void reportTooDeep(const KrData::FieldBase& source, const KrData::FieldBase& sink) {
    logErrorNoThrow(
        "KrConnection: the value of '%s' does not reach '%s': too many connections and observers, each changing the "
        "field of the next, led to it.\n",
        KrData::getFullPath(source).c_str(), KrData::getFullPath(sink).c_str());
}

}  // namespace Kr::detail
