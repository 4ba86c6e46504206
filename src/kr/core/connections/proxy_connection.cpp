#include "kr/core/connections/proxy_connection.h"

#include <memory>

#include "kr/core/connections/direct_connection_functor.h"
#include "kr/data/field_base.h"
#include "kr/platform/log.h"

namespace Kr {

using KrData::FieldBase;

ProxyConnection::~ProxyConnection() = default;

bool ProxyConnection::_init(FieldBase& source, FieldBase& sink, bool transferNow) {
    if (!_mayConnect(source, sink)) return false;
    if (!source.canConvertTo(sink)) {
        logMessage(eLogLevel::kDebug,
                   "ProxyConnection: could not create connection from %s -> %s. Check that types match.\n",
                   source.getPath().c_str(), sink.getPath().c_str());
        return false;
    }
    return _begin(source, sink, std::make_unique<DirectConnectionFunctor>(source, sink), Roles::kChecked, transferNow);
}

}  // namespace Kr
