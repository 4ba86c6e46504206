#pragma once

#include <memory>

#include "kr/core/connections/functor_connection.h"

namespace Kr {

namespace detail {
class UnitDelayFunctor;
}  // namespace detail

/// The common part of connections that act where steps begin and end, and not when the source changes.
///
/// They do not order their extensions (KrExtensionSorter), so a loop that one closes is no cycle. The value waits in
/// the sink from one frame to the next, so snapshots need the fields alone. A steady step allocates nothing and sends
/// no events. Both ends belong to one application; use KrSimQueuedConnection between threads. Without an application
/// such a connection transfers when it is made or enabled only.
/// Thread: application. Ownership: see KrConnection.
class KR_API KrSteppedConnection : public KrFunctorConnection {
    KR_BASE_CLASS(KrSteppedConnection, KrFunctorConnection)

    ~KrSteppedConnection() override;

    /// Connects the two fields and transfers once; a valid connection is disconnected first. False when they do not
    /// fit: the log says why, and the connection is invalid; false also for null, and when an observer destroyed a
    /// field or the connection. Fields, roles and values as for KrConnection, without a transfer function.
    /// \param transferNow  false leaves the sink unchanged until the next step, for loading.
    bool init(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);

protected:
    KrSteppedConnection();

    /// Of fields that may be connected.
    [[nodiscard]] virtual std::unique_ptr<ConnectionFunctor> _makeFunctor(const KrData::FieldBase& source,
                                                                          KrData::FieldBase& sink) const = 0;

private:
    friend class detail::UnitDelayFunctor;

    [[nodiscard]] bool _isExcludedFromOrdering() const noexcept final { return true; }
    [[nodiscard]] bool _actsBetweenSteps() const noexcept final { return true; }
    /// Whether nothing but a suspended sink prevents a transfer, now and later.
    [[nodiscard]] bool _onlyCopies() const noexcept { return _doRolesFit() && !isOutputToParameter(); }
    [[nodiscard]] bool _transfersNow() const { return _mayTransfer(*getSource()); }
};

}  // namespace Kr
