#pragma once

#include "kr/core/connections/proxy_connection.h"

namespace Kr {

/// A connection from a proxy to a field, which may be a proxy, too.
/// Thread: application. Ownership: see KrConnection.
class KR_API ProxyToFieldBaseConnection final : public ProxyConnection {
    KR_BASE_CLASS(ProxyToFieldBaseConnection, ProxyConnection)

    /// Invalid until init.
    ProxyToFieldBaseConnection();
    /// Connects immediately; see isValid for the result. Null leaves it invalid.
    ProxyToFieldBaseConnection(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);
    ~ProxyToFieldBaseConnection() override;

    /// As KrConnection::init; null leaves it invalid.
    bool init(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);

private:
    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase& source, KrData::FieldBase& sink) const override;
};

}  // namespace Kr
