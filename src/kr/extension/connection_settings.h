#pragma once

#include <functional>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/upper_layer.h"

namespace KrSim {

/// The settings of a connection that a copy takes over, besides its fields, for comparison. For the framework.
/// Thread: application. Ownership: value.
struct KR_API ConnectionSettings {
    using TransferFunction = std::function<double(double)>;

    int type{0};  ///< the exact class type
    bool isEnabled{true};
    bool isOrdering{true};  ///< its extensions
    TransferFunction function;

    [[nodiscard]] static ConnectionSettings of(const Kr::KrConnectionBase& connection);

    /// Two functions that are code count as equal: code cannot be compared.
    [[nodiscard]] bool operator==(const ConnectionSettings& other) const;
};

/// The access to transfer functions, which an upper layer implements.
/// Thread: application. Ownership: none.
class KR_API ITransferFunctions {
public:
    /// Empty for a connection without a function.
    [[nodiscard]] virtual ConnectionSettings::TransferFunction find(const Kr::KrConnectionBase& connection) const = 0;

protected:
    ~ITransferFunctions() = default;
};

}  // namespace KrSim

extern template class KR_API Kr::UpperLayer<KrSim::ITransferFunctions>;
