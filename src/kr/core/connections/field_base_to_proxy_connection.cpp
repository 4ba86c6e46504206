#include "kr/core/connections/field_base_to_proxy_connection.h"

#include <memory>

#include "kr/data/field_base.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;

FieldBaseToProxyConnection::FieldBaseToProxyConnection(FieldBase* source, FieldBase* sink, bool transferNow) {
    if (source == nullptr || sink == nullptr) return;
    if (source->getDataType() == KrData::Types::kProxy) {
        logErrorNoThrow("FieldBaseToProxyConnection: the source cannot be a proxy.\n");
        return;
    }
    if (sink->getDataType() != KrData::Types::kProxy) {
        logErrorNoThrow("FieldBaseToProxyConnection: the sink must be a proxy.\n");
        return;
    }
    _init(*source, *sink, transferNow);
}

FieldBaseToProxyConnection::~FieldBaseToProxyConnection() = default;

KrConnectionBase* FieldBaseToProxyConnection::_createBetween(FieldBase& source, FieldBase& sink) const {
    return _finishCopy(std::make_unique<FieldBaseToProxyConnection>(&source, &sink, false));
}

}  // namespace Kr
