#include "kr/extension/internal/placed_content.h"

#include <algorithm>
#include <map>

#include "kr/extension/extension_access.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"

namespace KrSim::detail {

bool isPlaced(const KrContentID& id) {
    return !id.getParentInstances().empty();
}

std::size_t getDepthBelow(const KrContentID& holder, const KrContentID& id) {
    const auto& chain = id.getParentInstances();
    const auto& above = holder.getParentInstances();
    const auto length = std::max<std::size_t>(above.size(), 1);
    if (chain.size() <= length) return 0;
    const bool isBelow =
        above.empty() ? chain.front() == holder : std::equal(above.begin(), above.end(), chain.begin());
    return isBelow ? chain.size() - length : 0;
}

KrContentID moveBelow(const KrContentID& holder, const KrContentID& id, std::size_t depth) {
    const auto& chain = id.getParentInstances();
    auto moved = holder;
    for (auto i = chain.size() - depth; i < chain.size(); ++i)
        moved = KrContentID::createFromParentInstance(moved, chain[i]);
    return moved;
}

KrContentID holderOf(const KrContentID& id) {
    const auto& chain = id.getParentInstances();
    if (chain.size() < 2) return {};
    auto holder = chain.front();
    for (std::size_t i = 1; i + 1 < chain.size(); ++i)
        holder = KrContentID::createFromParentInstance(holder, chain[i]);
    return holder;
}

KrContentID placeCopy(const KrContentID& holder, const KrContentID& original, const KrContentID& item) {
    if (!isPlaced(item)) return KrContentID::createFromParentInstance(holder, item);
    if (const auto depth = getDepthBelow(original, item)) return moveBelow(holder, item, depth);
    const auto& raw = item.getRawID();
    return KrContentID::createFromParentInstance(holder, KrContentID::createFromWords(raw.first, raw.second));
}

namespace {

using Candidates = std::multimap<KrContentID::Identifier, KrExtension*>;  // equal ones in the order of the object

/// Takes the first one of the type, in the order of the object.
KrExtension* takeFrom(Candidates& candidates, const KrContentID::Identifier& id, const KrUuid& type) {
    auto [found, end] = candidates.equal_range(id);
    while (found != end && found->second->getCreationKey().uuid != type)
        ++found;
    if (found == end) return nullptr;
    auto* extension = found->second;
    candidates.erase(found);
    return extension;
}

}  // namespace

std::vector<KrExtension*> findCopies(const KrObject& object, const KrContentID& original,
                                     const std::vector<Wanted>& wanted) {
    std::vector<KrExtension*> found(wanted.size(), nullptr);
    Candidates byRuntimeID;
    const auto extensions = object.getExtensions();
    for (const auto& each : extensions) {
        const bool isCopy = getDepthBelow(object.getContentID(), each->getContentID()) == 1;
        if (isCopy && !ExtensionAccess::isUnknownPlaceholder(*each)) {
            byRuntimeID.emplace(each->getContentID().getRuntimeID(), each.get());
        }
    }
    std::size_t missing = 0;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const auto id = placeCopy(object.getContentID(), original, wanted[i].id);
        found[i] = takeFrom(byRuntimeID, id.getRuntimeID(), wanted[i].type);
        if (found[i] == nullptr) ++missing;
    }
    if (missing == 0 || byRuntimeID.empty()) return found;
    Candidates byRawID;
    for (const auto& each : byRuntimeID)
        byRawID.emplace(each.second->getContentID().getRawID(), each.second);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (found[i] != nullptr) continue;
        const auto id = placeCopy(object.getContentID(), original, wanted[i].id);
        found[i] = takeFrom(byRawID, id.getRawID(), wanted[i].type);
        // Releases before this one took the last placement alone.
        if (found[i] == nullptr && isPlaced(wanted[i].id)) {
            const auto old = KrContentID::createFromParentInstance(object.getContentID(), wanted[i].id);
            found[i] = takeFrom(byRawID, old.getRawID(), wanted[i].type);
        }
    }
    return found;
}

// --- Finding -------------------------------------------------------------------------------------------------------

TreeIndex::TreeIndex(const KrExtension& top, Lost lost) : _lost(lost) {
    add(top);
}

void TreeIndex::add(const KrExtension& top) {
    for (auto* each : collectTree(top)) {
        if (_lost == Lost::kLeftOut && ExtensionAccess::isUnknownPlaceholder(*each)) continue;
        _byRuntimeID.emplace(each->getContentID().getRuntimeID(), each);
        _byRawID.emplace(each->getContentID().getRawID(), each);
    }
}

KrExtension* TreeIndex::findExactly(const KrContentID& id) const {
    const auto found = _byRuntimeID.find(id.getRuntimeID());
    return found != _byRuntimeID.end() ? found->second : nullptr;
}

KrExtension* TreeIndex::find(const KrContentID& id) const {
    if (auto* extension = findExactly(id)) return extension;
    const auto found = _byRawID.find(id.getRawID());
    return found != _byRawID.end() ? found->second : nullptr;
}

}  // namespace KrSim::detail
