#pragma once

#include "kr/core/connections/functor_connection.h"

namespace Kr {

/// A connection that hands its values over as events: a change of the source takes a copy of its value, and the sink
/// gets it when the event dispatcher delivers, on the thread that delivers.
///
/// So it may cross threads: the source may change on any one thread, while the sink changes on the dispatcher's owner
/// thread, in the order of the changes. On that thread itself the sink may have the value before the setter returns.
/// It does not order its extensions (KrExtensionSorter), so it breaks a feedback loop on purpose: an extension that
/// runs earlier in the frame sees the value in its next update.
///
/// Values under way reach the sink, if it lives then, also when the connection is disabled or destroyed meanwhile.
/// The fields may have any roles; the gate of an Output and a Parameter is asked when the copy is taken.
/// Ownership: as of KrConnection; fields and the connection itself live and die on one thread.
class KR_API KrSimQueuedConnection final : public KrFunctorConnection {
    KR_BASE_CLASS(KrSimQueuedConnection, KrFunctorConnection)

    /// The event whose payload is the address of a copy. For the framework only.
    static constexpr const char* kQueuedConnectionEvent = "KrSimQueuedConnection::kQueuedConnectionEvent";

    /// Invalid until init.
    KrSimQueuedConnection();
    /// Connects at once; ask isValid.
    KrSimQueuedConnection(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);
    ~KrSimQueuedConnection() override;

    /// As KrConnection::init; null leaves it invalid.
    bool init(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);

    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase& source, KrData::FieldBase& sink) const override;
    [[nodiscard]] bool _isExcludedFromOrdering() const noexcept override { return true; }
};

}  // namespace Kr
