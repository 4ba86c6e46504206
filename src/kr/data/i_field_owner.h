#pragma once

#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// All that a field may ask of, or tell to, the extension at the top of its containers.
class KR_API IFieldOwner {
public:
    /// Outputs gained or lost connections or observers: each delta counts outputs (not connections or observers),
    /// told when an output gets its first or loses its last, and when an output joins or leaves the owner.
    /// Runs on the thread that made the change, several at once, for observers under locks of the fields: it counts
    /// and calls nothing.
    virtual void _onOutputCountsChanged(int connectedDelta, int watchedDelta) = 0;

    /// A field came, went, moved or was renamed somewhere below: what was remembered of the tree is not true any more.
    virtual void _onFieldTreeChanged() noexcept {}

    virtual KrSim::KrExtension* _asExtension() noexcept = 0;

protected:
    ~IFieldOwner() = default;
};

}  // namespace KrData
