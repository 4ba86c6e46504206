#pragma once

#include "kr/core/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/upper_layer.h"

namespace Kr {

/// The functions of the sorter, in a higher layer, that a registered connection calls.
/// Thread: any. Ownership: connections are borrowed.
class KR_API IConnectionSorter {
public:
    /// Removes a connection that loses its fields, or dies.
    virtual void forget(KrConnectionBase& connection) const noexcept = 0;
    /// Another field or owner may change the order of the extensions.
    virtual void askAnew(KrConnectionBase& connection) const noexcept = 0;

protected:
    ~IConnectionSorter() = default;
};

}  // namespace Kr

extern template class KR_API Kr::UpperLayer<Kr::IConnectionSorter>;
