#pragma once

#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// Learns of connections that a field gains and loses. Override what is of interest.
///
/// Ownership: borrowed by the field; unregister it before it dies. Thread: the one that connects.
/// A listener may register and unregister listeners; one registered during a call is called from the next change on.
/// It may delete the connection in question; the listeners behind it are not called for that connection then.
class KR_API FieldListener {
public:
    FieldListener() = default;
    FieldListener(const FieldListener&) = delete;
    FieldListener& operator=(const FieldListener&) = delete;
    virtual ~FieldListener();

    /// Told again when a connection that is already listed is added once more.
    virtual void onIncomingConnectionAdded(Kr::KrConnectionBase* connection);
    /// When the field dies, the connection has lost both its ends before the field's own listeners are told.
    virtual void onIncomingConnectionRemoved(Kr::KrConnectionBase* connection);
    virtual void onOutgoingConnectionAdded(Kr::KrConnectionBase* connection);
    virtual void onOutgoingConnectionRemoved(Kr::KrConnectionBase* connection);
};

}  // namespace KrData
