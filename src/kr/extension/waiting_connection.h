#pragma once

#include <string>

#include "kr/content/content_id.h"
#include "kr/core/fwd.h"

namespace KrSim {

/// A connection that an instance keeps while its definition lacks one of its ends (KrObject::_getWaitingConnections).
/// Good until the instance is synchronised.
struct KrWaitingConnection {
    KrContentID source;
    std::string sourceField;  ///< as KrData::_getStoredPath answers it
    KrContentID sink;
    std::string sinkField;
    const Kr::KrConnectionBase* prototype;  ///< of the same class and settings, but disabled, and with other fields
    bool isEnabled;
    bool isOrdering;  ///< its extensions
};

}  // namespace KrSim
