#pragma once

#include "kr/data/fwd.h"
#include "kr/platform/export.h"

namespace KrData {

/// The functions of the extension at the top of its containers that a field calls.
/// Thread: see the functions. Ownership: borrowed by its fields.
class KR_API IFieldOwner {
public:
    /// Outputs gained or lost connections or observers: each delta counts outputs (not connections or observers).
    /// Called when an output gets its first or loses its last, and when an output joins or leaves the owner.
    /// Runs on the thread of the change, for observers on several threads under locks of the fields: only count there.
    virtual void onOutputCountsChanged(int connectedDelta, int watchedDelta) = 0;

    /// A field was added, removed, moved or renamed somewhere below: cached knowledge of the tree is outdated.
    virtual void onFieldTreeChanged() noexcept {}

    /// The owner as an extension; null when it is none.
    virtual KrSim::KrExtension* asExtension() noexcept = 0;

protected:
    ~IFieldOwner() = default;
};

}  // namespace KrData
