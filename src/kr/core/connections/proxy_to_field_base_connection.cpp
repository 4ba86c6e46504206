#include "kr/core/connections/proxy_to_field_base_connection.h"

#include <memory>

#include "kr/data/field_base.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;

ProxyToFieldBaseConnection::ProxyToFieldBaseConnection(FieldBase* source, FieldBase* sink, bool transferNow) {
    if (source == nullptr || sink == nullptr) return;
    if (source->getDataType() != KrData::Types::kProxy) {
        logErrorNoThrow("ProxyToFieldBaseConnection: the source must be a proxy.\n");
        return;
    }
    _init(*source, *sink, transferNow);
}

ProxyToFieldBaseConnection::~ProxyToFieldBaseConnection() = default;

KrConnectionBase* ProxyToFieldBaseConnection::_createBetween(FieldBase& source, FieldBase& sink) const {
    return _finishCopy(std::make_unique<ProxyToFieldBaseConnection>(&source, &sink, false));
}

}  // namespace Kr
