#include "kr/core/connections/internal/connection_texts.h"

#include "kr/data/field_base.h"
#include "kr/extension/extension.h"
#include "kr/platform/log.h"

namespace Kr::detail {

std::string ownerNameOf(const KrData::FieldBase& field) {
    const auto* owner = field.getOwnerExtension();
    return owner != nullptr ? owner->getName() : std::string();
}

void reportDimensions(const KrData::FieldBase& source, const KrData::FieldBase& sink) {
    const auto from = source.getPhysicalDimension();
    const auto to = sink.getPhysicalDimension();
    constexpr auto kNone = KrPhysicalDimension::ePhysicalDimension::kNone;
    if (from == to || from == kNone || to == kNone) return;
    logMessage(eLogLevel::kDebug, "KrConnection: %s.%s measures %s, %s.%s measures %s.\n", ownerNameOf(source).c_str(),
               source.getPath().c_str(), KrPhysicalDimension::nameFor(from), ownerNameOf(sink).c_str(),
               sink.getPath().c_str(), KrPhysicalDimension::nameFor(to));
}

}  // namespace Kr::detail
