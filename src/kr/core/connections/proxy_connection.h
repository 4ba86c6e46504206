#pragma once

#include "kr/core/connections/functor_connection.h"

namespace Kr {

/// A connection with a proxy at one or both ends: setting the proxy sets all fields that it links, and its value is
/// that of the first of them. Enabled, disabled, gated and guarded like any other. It orders the extension of the
/// proxy, not those of the linked fields.
/// Thread: application. Ownership: see KrConnection.
class KR_API ProxyConnection : public KrFunctorConnection {
    KR_BASE_CLASS(ProxyConnection, KrFunctorConnection)

    ~ProxyConnection() override;

protected:
    ProxyConnection() = default;

    /// Connects when roles and types fit, else logs the reason. See KrConnection::init.
    bool _init(KrData::FieldBase& source, KrData::FieldBase& sink, bool transferNow);
};

}  // namespace Kr
