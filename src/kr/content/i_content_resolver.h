#pragma once

#include "kr/content/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"

namespace KrSim {

/// What content identity must ask of an extension, which is only a declared class down here. The registry of content
/// implements it. Every question is about a living extension; those marked so are asked under a lock and must take
/// none.
class KR_API IContentResolver {
public:
    [[nodiscard]] virtual KrContentID _getContentID(KrExtension* extension) const = 0;
    /// The same object as counted object. Asked under a lock.
    [[nodiscard]] virtual Kr::KrRefCount* _asRefCount(KrExtension* extension) const noexcept = 0;

    /// The one resolver of the process, null before it is installed.
    [[nodiscard]] static const IContentResolver* _get() noexcept;
    /// Before content is made; the resolver is borrowed for as long as the process lives. Null takes it away.
    static void _install(const IContentResolver* resolver) noexcept;

protected:
    ~IContentResolver() = default;
};

}  // namespace KrSim
