#pragma once

#include "kr/core/connections/functor_connection.h"

namespace Kr {

/// A connection with a proxy at one end or both: setting the proxy sets all fields that it links, and its value is that
/// of the first of them. Enabled, disabled, gated and guarded like any other. It orders the extension that has the
/// proxy, not those of the fields behind it.
class KR_API ProxyConnection : public KrFunctorConnection {
    KR_BASE_CLASS(ProxyConnection, KrFunctorConnection)

    ~ProxyConnection() override;

protected:
    ProxyConnection() = default;

    /// Connects where roles and types fit, else says why not. As KrConnection::init.
    bool _init(KrData::FieldBase& source, KrData::FieldBase& sink, bool transferNow);
};

}  // namespace Kr
