#pragma once

#include <functional>

#include "kr/core/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// What a copy of a connection has of its original beside the fields, to be compared. For the framework. Thread: the
/// application thread.
struct KR_API ConnectionSettings {
    using TransferFunction = std::function<double(double)>;
    /// Answers the transfer function of a connection, or an empty one.
    using GetFunction = TransferFunction (*)(const Kr::KrConnectionBase& connection);

    int type{0};  ///< the exact class type
    bool isEnabled{true};
    bool isOrdering{true};  ///< its extensions
    TransferFunction function;

    [[nodiscard]] static ConnectionSettings of(const Kr::KrConnectionBase& connection);
    /// Installed by the layer of the connections that have such functions. Any thread.
    static void _setGetFunction(GetFunction get) noexcept;

    /// Two functions that are code are equal: code cannot be compared.
    [[nodiscard]] bool operator==(const ConnectionSettings& other) const;
};

}  // namespace KrSim
