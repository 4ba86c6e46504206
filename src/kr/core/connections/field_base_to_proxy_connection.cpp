#include "kr/core/connections/field_base_to_proxy_connection.h"

#include <memory>

#include "kr/core/connections/internal/new_connection.h"
#include "kr/data/field_base.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;

FieldBaseToProxyConnection::FieldBaseToProxyConnection() = default;

FieldBaseToProxyConnection::FieldBaseToProxyConnection(FieldBase* source, FieldBase* sink, bool transferNow) {
    init(source, sink, transferNow);
}

FieldBaseToProxyConnection::~FieldBaseToProxyConnection() = default;

bool FieldBaseToProxyConnection::init(FieldBase* source, FieldBase* sink, bool transferNow) {
    if (!_end()) return false;
    if (source == nullptr || sink == nullptr) return false;
    if (source->getDataType() == KrData::Types::kProxy) {
        logErrorNoThrow("FieldBaseToProxyConnection: the source cannot be a proxy.\n");
        return false;
    }
    if (sink->getDataType() != KrData::Types::kProxy) {
        logErrorNoThrow("FieldBaseToProxyConnection: the sink must be a proxy.\n");
        return false;
    }
    return _init(*source, *sink, transferNow);
}

KrConnectionBase* FieldBaseToProxyConnection::_createBetween(FieldBase& source, FieldBase& sink) const {
    detail::NewConnection<FieldBaseToProxyConnection> made;
    made->_setCopy();
    if (made->init(&source, &sink, false)) _finishCopy(*made);
    return made.take().release();
}

}  // namespace Kr
