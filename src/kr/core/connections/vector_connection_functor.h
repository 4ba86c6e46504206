#pragma once

#include <cstdint>

#include "kr/core/connections/connection_functor.h"
#include "kr/data/vector_base.h"

namespace Kr {

/// Makes a vector equal to another one of the same item data type.
///
/// While the source keeps its changed ranges (enableIncrementalDataTransfer), only these items are read, and the ranges
/// are cleared by the last enabled connection that reads them (queued ones do not). Otherwise the whole vectors are
/// compared.
/// Thread: that of the connection. Ownership: owned by its connection; the vectors are borrowed.
class KR_API VectorConnectionFunctor final : public ConnectionFunctor {
public:
    /// \param connection  the owner of this functor; null below a container functor.
    VectorConnectionFunctor(const KrData::VectorBase& source, KrData::VectorBase& sink,
                            const KrConnectionBase* connection);
    ~VectorConnectionFunctor() override;

    void transfer(const KrData::FieldBase& changed) override;

private:
    KrData::VectorBase& _vector;  // the source; clearing its changes does not change its value
    KrData::VectorBase& _sinkVector;
    const KrConnectionBase* _connection;
    KrData::VectorBase::ChangeRanges _ranges;
    std::uint64_t _seenChanges{0};
    bool _isInStep{false};  // the sink was made equal once
};

}  // namespace Kr
