#include "kr/core/connections/proxy_to_field_base_connection.h"

#include <memory>

#include "kr/core/connections/internal/new_connection.h"
#include "kr/data/field_base.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;

ProxyToFieldBaseConnection::ProxyToFieldBaseConnection() = default;

ProxyToFieldBaseConnection::ProxyToFieldBaseConnection(FieldBase* source, FieldBase* sink, bool transferNow) {
    init(source, sink, transferNow);
}

ProxyToFieldBaseConnection::~ProxyToFieldBaseConnection() = default;

bool ProxyToFieldBaseConnection::init(FieldBase* source, FieldBase* sink, bool transferNow) {
    if (!_end()) return false;
    if (source == nullptr || sink == nullptr) return false;
    if (source->getDataType() != KrData::Types::kProxy) {
        logErrorNoThrow("ProxyToFieldBaseConnection: the source must be a proxy.\n");
        return false;
    }
    return _init(*source, *sink, transferNow);
}

KrConnectionBase* ProxyToFieldBaseConnection::_createBetween(FieldBase& source, FieldBase& sink) const {
    detail::NewConnection<ProxyToFieldBaseConnection> made;
    made->_setCopy();
    if (made->init(&source, &sink, false)) _finishCopy(*made);
    return made.take().release();
}

}  // namespace Kr
