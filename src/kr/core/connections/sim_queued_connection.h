#pragma once

#include "kr/core/connections/functor_connection.h"

namespace Kr {

/// A connection that sends its values as events: a change of the source takes a copy of its value, and the sink gets it
/// when the event dispatcher delivers, on the delivering thread.
///
/// It may cross threads: the source may change on any one thread, while the sink changes on the dispatcher's owner
/// thread, in the order of the changes. On that thread itself the sink may have the value before the setter returns. It
/// does not order its extensions (KrExtensionSorter), so it can break a feedback loop: an extension that runs earlier
/// in the frame sees the value in its next update.
///
/// Values in progress reach the sink, if it is alive then, also when the connection is disabled or destroyed meanwhile.
/// The fields may have any roles; the gate of an Output and a Parameter is checked when the copy is taken.
/// Thread: fields and the connection itself are created and destroyed on one thread. Ownership: see KrConnection.
class KR_API KrSimQueuedConnection final : public KrFunctorConnection {
    KR_BASE_CLASS(KrSimQueuedConnection, KrFunctorConnection)

    /// The event whose payload is the address of a copy. For the framework only.
    static constexpr const char* kQueuedConnectionEvent = "KrSimQueuedConnection::kQueuedConnectionEvent";

    /// Invalid until init.
    KrSimQueuedConnection();
    /// Connects immediately; see isValid for the result.
    KrSimQueuedConnection(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);
    ~KrSimQueuedConnection() override;

    /// As KrConnection::init; null leaves it invalid.
    bool init(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);

private:
    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase& source, KrData::FieldBase& sink) const override;
    [[nodiscard]] bool _isExcludedFromOrdering() const noexcept override { return true; }
};

}  // namespace Kr
