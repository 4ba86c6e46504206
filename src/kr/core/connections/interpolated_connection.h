#pragma once

#include "kr/core/connections/stepped_connection.h"

namespace Kr {

/// A connection from slower to faster steps: in its steps the sink has values on the line between the last two values
/// of the source, instead of the newest one.
///
/// The source counts with its value at the end of each frame in which it was stepped, and the line between two such
/// values is that of one frame ago: so it does not depend on the order of the two extensions, and never jumps. With a
/// source that is stepped in each frame, and a sink with four steps in it, these have 0, 1/4, 1/2 and 3/4 of the way
/// between the last but one and the last value. A source that is stepped in every n-th frame (StepRate) has its line
/// over n frames. The line begins at the value that the sink has: one that was set otherwise is a new beginning.
///
/// Lines exist between numbers with fractions and vectors of them. Sinks of other types, such as bool, whole numbers,
/// texts and containers, have the newest value at the end of each frame, as with a unit delay; a warning says so when
/// the connection is made. So has every sink while the application is not simulating.
/// Thread: application. Ownership: see KrConnection.
class KR_API KrInterpolatedConnection final : public KrSteppedConnection {
    KR_BASE_CLASS(KrInterpolatedConnection, KrSteppedConnection)

    /// Invalid until init.
    KrInterpolatedConnection();
    ~KrInterpolatedConnection() override;

private:
    [[nodiscard]] std::unique_ptr<ConnectionFunctor> _makeFunctor(const KrData::FieldBase& source,
                                                                  KrData::FieldBase& sink) const override;
    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase& source, KrData::FieldBase& sink) const override;
};

}  // namespace Kr
