#pragma once

#include "kr/core/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/upper_layer.h"

namespace Kr {

/// What a connection that is registered for ordering asks of the sorter, far above.
class KR_API IConnectionSorter {
public:
    /// Takes out a connection that loses its fields, or dies.
    virtual void forget(KrConnectionBase& connection) const noexcept = 0;
    /// Another field or owner may change what the connection orders.
    virtual void askAnew(KrConnectionBase& connection) const noexcept = 0;

protected:
    ~IConnectionSorter() = default;
};

}  // namespace Kr

extern template class KR_API Kr::UpperLayer<Kr::IConnectionSorter>;
