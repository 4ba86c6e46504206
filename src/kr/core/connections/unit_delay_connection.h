#pragma once

#include "kr/core/connections/functor_connection.h"

namespace Kr {

namespace detail {
class UnitDelayFunctor;
}  // namespace detail

/// A connection with a delay of one step, for feedback: in each step the sink has the value that the source had at the
/// end of the step before, in whatever order the two extensions run. It does not order its extensions
/// (KrExtensionSorter), so a loop that it closes is no cycle.
///
/// A step is a frame of the application that is not paused: at its end, after onPostUpdate of all modules, first the
/// sources of all unit delays are read, then all sinks are set. Between two units of one step group (ModuleOf) it is
/// each step of the group. While the application is editing, each frame is a step of all groups.
///
/// Fields, roles and values as for KrConnection, without a transfer function. All kinds of fields are copied as a
/// whole. The sink has its value from one step to the next, so snapshots need nothing else. A steady step allocates
/// nothing and sends no events: docs/connections.md has the price beside that of the other kinds.
///
/// Both ends belong to one application; use KrSimQueuedConnection between threads. Without an application it transfers
/// when it is made or enabled only.
/// Thread: application. Ownership: see KrConnection.
class KR_API KrUnitDelayConnection final : public KrFunctorConnection {
    KR_BASE_CLASS(KrUnitDelayConnection, KrFunctorConnection)

    /// Invalid until init.
    KrUnitDelayConnection();
    ~KrUnitDelayConnection() override;

    /// Connects the two fields and transfers once; a valid connection is disconnected first. False when they do not
    /// fit: the log says why, and the connection is invalid; false also for null, and when an observer destroyed a
    /// field or the connection.
    /// \param transferNow  false leaves the sink unchanged until the end of the next step, for loading.
    bool init(KrData::FieldBase* source, KrData::FieldBase* sink, bool transferNow = true);

private:
    friend class detail::UnitDelayFunctor;

    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase& source, KrData::FieldBase& sink) const override;
    [[nodiscard]] bool _isExcludedFromOrdering() const noexcept override { return true; }
    [[nodiscard]] bool _actsBetweenSteps() const noexcept override { return true; }
    /// Whether nothing but a suspended sink prevents a transfer, now and later.
    [[nodiscard]] bool _onlyCopies() const noexcept { return _doRolesFit() && !isOutputToParameter(); }
    [[nodiscard]] bool _transfersNow() const { return _mayTransfer(*getSource()); }
};

}  // namespace Kr
