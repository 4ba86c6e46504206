#pragma once

#include "kr/content/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/upper_layer.h"

namespace KrSim {

/// What content identity must ask of an extension, which is only a declared class down here. The registry of content
/// implements it. Every question is about a living extension; those marked so are asked under a lock and must take
/// none.
class KR_API IContentResolver {
public:
    [[nodiscard]] virtual KrContentID _getContentID(KrExtension* extension) const = 0;
    /// The same object as counted object. Asked under a lock.
    [[nodiscard]] virtual Kr::KrRefCount* _asRefCount(KrExtension* extension) const noexcept = 0;

protected:
    ~IContentResolver() = default;
};

}  // namespace KrSim

extern template class KR_API Kr::UpperLayer<KrSim::IContentResolver>;
