#pragma once

#include "kr/core/connections/stepped_connection.h"

namespace Kr {

/// A connection with a delay of one step, for feedback: in each step the sink has the value that the source had at the
/// end of the step before, in whatever order the two extensions run.
///
/// A step is a frame of the application that is not paused: at its end, after onPostUpdate of all modules, first the
/// sources of all unit delays are read, then all sinks are set. Between two units of one step group (ModuleOf) it is
/// each step of the group. While the application is editing, each frame is a step of all groups. All kinds of fields
/// are copied as a whole. docs/connections.md has the price beside that of the other kinds.
/// Thread: application. Ownership: see KrConnection.
class KR_API KrUnitDelayConnection final : public KrSteppedConnection {
    KR_BASE_CLASS(KrUnitDelayConnection, KrSteppedConnection)

    /// Invalid until init.
    KrUnitDelayConnection();
    ~KrUnitDelayConnection() override;

private:
    [[nodiscard]] std::unique_ptr<ConnectionFunctor> _makeFunctor(const KrData::FieldBase& source,
                                                                  KrData::FieldBase& sink) const override;
    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase& source, KrData::FieldBase& sink) const override;
};

}  // namespace Kr
