#pragma once

#include "kr/content/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/upper_layer.h"

namespace KrSim {

/// What the registry of content must know about an extension, which is only a declared class in this layer. The upper
/// layer implements it. Each function takes a living extension; those marked so run under a lock and must take none.
/// Thread: any. Ownership: none.
class KR_API IContentResolver {
public:
    [[nodiscard]] virtual KrContentID getContentID(KrExtension* extension) const = 0;
    /// The same object as counted object. Called under a lock.
    [[nodiscard]] virtual Kr::KrRefCount* asRefCount(KrExtension* extension) const noexcept = 0;

protected:
    ~IContentResolver() = default;
};

}  // namespace KrSim

extern template class KR_API Kr::UpperLayer<KrSim::IContentResolver>;
