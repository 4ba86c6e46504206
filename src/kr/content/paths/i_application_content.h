#pragma once

#include <vector>

#include "kr/extension/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/upper_layer.h"

namespace KrSim {

/// What paths must know about an application, which is only a declared class in this layer. Before the layer of
/// applications has installed its implementation, an application has no content.
/// Thread: application. Ownership: none.
class KR_API IApplicationContent {
public:
    /// The extensions that were added to the application, in order.
    [[nodiscard]] virtual std::vector<KrExtension*> getExtensions(KrApplication& application) const = 0;

protected:
    ~IApplicationContent() = default;
};

}  // namespace KrSim

extern template class KR_API Kr::UpperLayer<KrSim::IApplicationContent>;
