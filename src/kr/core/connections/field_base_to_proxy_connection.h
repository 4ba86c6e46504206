#pragma once

#include "kr/core/connections/proxy_connection.h"

namespace Kr {

/// A connection from a field that is no proxy to a proxy.
/// Thread: application. Ownership: see KrConnection.
class KR_API FieldBaseToProxyConnection final : public ProxyConnection {
    KR_BASE_CLASS(FieldBaseToProxyConnection, ProxyConnection)

    /// Invalid until init.
    FieldBaseToProxyConnection();
    /// Connects immediately; see isValid for the result. Null leaves it invalid.
    FieldBaseToProxyConnection(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);
    ~FieldBaseToProxyConnection() override;

    /// As KrConnection::init; null leaves it invalid.
    bool init(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);

private:
    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase& source, KrData::FieldBase& sink) const override;
};

}  // namespace Kr
