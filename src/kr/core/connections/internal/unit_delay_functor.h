#pragma once

#include <memory>

#include "kr/core/connections/connection_functor.h"
#include "kr/core/connections/step_boundary.h"

namespace Kr {

class KrUnitDelayConnection;

namespace detail {

/// Gives the sink the value of the source at the end of each step of its boundary: that of the step group which steps
/// the extensions of both ends; else that of the application of the sink, or of the source where the sink has none.
/// Thread: application. Ownership: owned by its connection; the fields are borrowed.
class UnitDelayFunctor final : public ConnectionFunctor, public SteppedTransfer {
public:
    UnitDelayFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink, const KrUnitDelayConnection& connection);
    ~UnitDelayFunctor() override;

    /// At once, for a connection that is made or enabled.
    void transfer(const KrData::FieldBase& changed) override;
    /// Looks for the boundary anew.
    void setSinkOwner(KrSim::KrExtension* owner) override;
    void readSource() override;
    void setSink() override;

private:
    const KrUnitDelayConnection& _connection;
    std::shared_ptr<KrData::FieldBase> _value;  // from one step to the next; shared while the sink takes it
    bool _isWaiting{false};                     // the value, for the sink
};

}  // namespace detail
}  // namespace Kr
