#pragma once

#include <cstddef>

#include "kr/core/connections/connection_functor.h"
#include "kr/data/field_reference.h"

namespace Kr {

/// Takes a copy of the source and sends it through the event dispatcher; the sink takes it when the event is
/// delivered, on the thread that delivers.
class KR_API QueuedConnectionFunctor final : public ConnectionFunctor {
public:
    QueuedConnectionFunctor(const KrData::FieldBase& source, KrData::FieldBase& sink);
    ~QueuedConnectionFunctor() override;

    void transfer(const KrData::FieldBase& changed) override;

    /// How many copies are under way in this process. Any thread.
    [[nodiscard]] static std::size_t _getWaitingCount();

private:
    KrData::FieldReference _sinkLife;
};

}  // namespace Kr
