#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/extension/fwd.h"
#include "kr/platform/uuid.h"

// Content IDs of content placed in an object, and the search for extensions of an instance by these IDs.

namespace KrSim::detail {

[[nodiscard]] bool isPlaced(const KrContentID& id);
/// Number of placements by which an ID is derived from that of a holder; 0 when it is not derived.
[[nodiscard]] std::size_t getDepthBelow(const KrContentID& holder, const KrContentID& id);
/// The ID with its last `depth` placements below another holder.
[[nodiscard]] KrContentID moveBelow(const KrContentID& holder, const KrContentID& id, std::size_t depth);
/// The ID of the object that contains the content with this ID: the chain without its last entry; empty if short.
[[nodiscard]] KrContentID holderOf(const KrContentID& id);
/// The ID of a copy in `holder` of an extension in `original`. Parts that were taken from instances, and so are placed
/// elsewhere, are distinguished by their whole chain.
[[nodiscard]] KrContentID placeCopy(const KrContentID& holder, const KrContentID& original, const KrContentID& item);

/// An extension of a definition, with the data to find its copies in instances.
struct Wanted {
    KrContentID id;
    KrUuid type;
};

/// The extensions of an object that are copies of the wanted ones, null without a copy: by derived ID, each once, then
/// by raw ID, as after loading the definition from another file. Lost extensions do not count.
[[nodiscard]] std::vector<KrExtension*> findCopies(const KrObject& object, const KrContentID& original,
                                                   const std::vector<Wanted>& wanted);

/// An extension and all extensions below it, by both IDs. Borrowed.
class TreeIndex {
public:
    enum class Lost { kIncluded, kLeftOut };

    explicit TreeIndex(const KrExtension& top, Lost lost = Lost::kIncluded);
    /// Adds the extension and all extensions below it.
    void add(const KrExtension& top);
    /// By runtime ID; null when there is none.
    [[nodiscard]] KrExtension* findExactly(const KrContentID& id) const;
    /// By runtime ID, else by raw ID, of several the first one level by level; null without one.
    [[nodiscard]] KrExtension* find(const KrContentID& id) const;

private:
    Lost _lost;
    std::unordered_map<KrContentID::Identifier, KrExtension*> _byRuntimeID, _byRawID;
};

}  // namespace KrSim::detail
