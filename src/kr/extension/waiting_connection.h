#pragma once

#include <string>

#include "kr/content/content_id.h"
#include "kr/core/fwd.h"

namespace KrSim {

/// A connection that an instance keeps while its definition lacks one of its ends (KrObject::_getWaitingConnections).
/// Valid until the instance is synchronised.
struct KrWaitingConnection {
    KrContentID source;
    std::string sourceField;  ///< see KrData::_getStoredPath
    KrContentID sink;
    std::string sinkField;
    const Kr::KrConnectionBase* prototype;  ///< of the same class and settings, but disabled, and with other fields
    bool isEnabled;
    bool isOrdering;  ///< its extensions
};

}  // namespace KrSim
