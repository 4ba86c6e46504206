#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/extension/fwd.h"
#include "kr/platform/uuid.h"

// Content IDs of what is placed in an object, and how extensions of an instance are found by them.

namespace KrSim::detail {

[[nodiscard]] bool isPlaced(const KrContentID& id);
/// By how many placements an ID is derived from that of a holder; 0 when it is not.
[[nodiscard]] std::size_t getDepthBelow(const KrContentID& holder, const KrContentID& id);
/// The ID with its last `depth` placements below another holder.
[[nodiscard]] KrContentID moveBelow(const KrContentID& holder, const KrContentID& id, std::size_t depth);
/// The ID of the object that holds what has this ID: the chain without its last entry. Empty for a short chain.
[[nodiscard]] KrContentID holderOf(const KrContentID& id);
/// The ID of a copy in `holder` of an extension in `original`. Parts that were taken from instances, and so are placed
/// elsewhere, keep apart by their whole chain.
[[nodiscard]] KrContentID placeCopy(const KrContentID& holder, const KrContentID& original, const KrContentID& item);

/// An extension of a definition, as far as its copies in instances are found by it.
struct Wanted {
    KrContentID id;
    KrUuid type;
};

/// The extensions of an object that are copies of the wanted ones, null where there is none: by derived ID, each once,
/// then by raw ID, as after loading the definition from another file. Lost extensions are none.
[[nodiscard]] std::vector<KrExtension*> findCopies(const KrObject& object, const KrContentID& original,
                                                   const std::vector<Wanted>& wanted);

/// An extension and all below it, by both IDs. Borrowed.
class TreeIndex {
public:
    enum class Lost { kIncluded, kLeftOut };

    explicit TreeIndex(const KrExtension& top, Lost lost = Lost::kIncluded);
    /// The extension and all below it, too.
    void add(const KrExtension& top);
    /// By runtime ID; null when there is none.
    [[nodiscard]] KrExtension* findExactly(const KrContentID& id) const;
    /// By runtime ID, else by raw ID, of several the first one level by level; null when there is none.
    [[nodiscard]] KrExtension* find(const KrContentID& id) const;

private:
    Lost _lost;
    std::unordered_map<KrContentID::Identifier, KrExtension*> _byRuntimeID, _byRawID;
};

}  // namespace KrSim::detail
