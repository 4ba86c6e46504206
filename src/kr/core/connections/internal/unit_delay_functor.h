#pragma once

#include <memory>

#include "kr/core/connections/connection_functor.h"
#include "kr/core/connections/step_boundary.h"

namespace Kr {

class KrSteppedConnection;

namespace detail {

/// Gives the sink the value of the source at the end of each step of its boundary: that of the step group which steps
/// the extensions of both ends; else that of the application of the sink, or of the source where the sink has none.
/// Thread: application. Ownership: owned by its connection; the fields are borrowed.
class UnitDelayFunctor : public ConnectionFunctor, public SteppedTransfer {
public:
    UnitDelayFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink, const KrSteppedConnection& connection);
    ~UnitDelayFunctor() override;

    /// At once, for a connection that is made or enabled.
    void transfer(const KrData::FieldBase& changed) override;
    /// Looks for the boundary anew.
    void setSinkOwner(KrSim::KrExtension* owner) override;
    void readSource() override;
    void setSink() override;

protected:
    /// Of the step group that steps the extension; null for none.
    [[nodiscard]] static StepBoundary* getGroupBoundary(KrSim::KrExtension* extension);
    [[nodiscard]] StepBoundary* _findApplicationBoundary(KrSim::KrExtension* sinkOwner) const;
    /// Takes over the owner of the sink; setSinkOwner is called again when an end gets another boundary.
    void _followOwners(KrSim::KrExtension* sinkOwner);
    [[nodiscard]] KrSim::KrExtension* _getSourceOwner() const;
    [[nodiscard]] bool _mayTransferNow() const;
    /// For the next setSink.
    void _keep(const KrData::FieldBase& value);

private:
    const KrSteppedConnection& _connection;
    std::shared_ptr<KrData::FieldBase> _value;  // from one step to the next; shared while the sink takes it
    bool _isWaiting{false};                     // the value, for the sink
};

}  // namespace detail
}  // namespace Kr
