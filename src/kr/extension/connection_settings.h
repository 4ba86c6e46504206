#pragma once

#include <functional>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/upper_layer.h"

namespace KrSim {

/// What a copy of a connection has of its original beside the fields, to be compared. For the framework. Thread: the
/// application thread.
struct KR_API ConnectionSettings {
    using TransferFunction = std::function<double(double)>;

    int type{0};  ///< the exact class type
    bool isEnabled{true};
    bool isOrdering{true};  ///< its extensions
    TransferFunction function;

    [[nodiscard]] static ConnectionSettings of(const Kr::KrConnectionBase& connection);

    /// Two functions that are code are equal: code cannot be compared.
    [[nodiscard]] bool operator==(const ConnectionSettings& other) const;
};

/// What the comparison must ask the layer of the connections that have transfer functions.
class KR_API ITransferFunctions {
public:
    /// Empty for a connection without one.
    [[nodiscard]] virtual ConnectionSettings::TransferFunction find(const Kr::KrConnectionBase& connection) const = 0;

protected:
    ~ITransferFunctions() = default;
};

}  // namespace KrSim

extern template class KR_API Kr::UpperLayer<KrSim::ITransferFunctions>;
