#pragma once

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace Kr {

/// Makes the connection that fits two fields.
/// Thread: the application thread.
class KR_API KrConnectionFactory {
public:
    KrConnectionFactory() = delete;

    /// Connects the two fields, and leaves the connection to the extension of the sink (of the source, where the sink
    /// has none): it lives as long as that, or until its fields die. Null, and the log says why, when they do not fit
    /// or neither has an extension.
    static KrConnectionBase* connect(KrData::FieldBase& source, KrData::FieldBase& sink);

    /// A ProxyToFieldBaseConnection, a FieldBaseToProxyConnection or a KrConnection, whichever the fields ask for; null
    /// when they do not fit, and for null. The caller owns it. Unless the caller says otherwise (_setUnowned),
    /// KrExtensionSorter::destroyConnections may destroy it.
    /// \param transferNow  false leaves the sink as it is until the next change, as loading wants it.
    [[nodiscard]] static KrConnectionBase* _create(KrData::FieldBase* source, KrData::FieldBase* sink,
                                                   bool transferNow = true);
};

}  // namespace Kr
