#include "kr/persistence/objects/file_identity.h"

#include <utility>

#include "kr/content/content_id_access.h"
#include "kr/extension/content_registry.h"

namespace KrPersistence {

using KrSim::KrContentID;
using KrSim::detail::ContentIDAccess;

namespace {

/// The placement whose entries are those of `id`, each changed.
template <class Change>
KrContentID changeEntries(const KrContentID& id, const Change& change) {
    KrContentID::Chain chain;
    chain.reserve(id.getParentInstances().size());
    for (const auto& entry : id.getParentInstances())
        chain.push_back(change(entry));
    return ContentIDAccess::fromChain(std::move(chain));
}

KrContentID withoutFile(const KrContentID& id) {
    const auto& own = id.getOwnIdentifier();
    return KrContentID::createFromWords(own.first, own.second);
}

}  // namespace

// --- Loading ---------------------------------------------------------------------------------------------------------

LoadedIdentity::LoadedIdentity(const std::string& filePart) {
    _pattern.setFile(filePart);
}

KrContentID LoadedIdentity::operator()(const KrContentID& stored) const {
    if (_pattern.getFile().empty() || stored.isEmpty()) return stored;
    if (!stored.getParentInstances().empty()) return changeEntries(stored, *this);
    if (!stored.getFile().empty()) return stored;
    auto live = stored;
    ContentIDAccess::setFileOf(live, _pattern);
    return live;
}

// --- Saving ----------------------------------------------------------------------------------------------------------

StoredIdentity::StoredIdentity(const std::vector<KrContentID>& included) {
    std::unordered_set<KrContentID::Identifier> items;  // IDs in the file without a file name
    const auto isPlaced = [](const KrContentID& id) { return !id.getParentInstances().empty(); };
    for (const auto& id : included) {
        if (!isPlaced(id) && id.getFile().empty()) items.insert(id.getRawID());
    }
    for (const auto& id : included) {
        if (isPlaced(id) || id.getFile().empty()) continue;
        _files.insert(id.getFile());
        // The same item from two files: the names go on telling them apart.
        if (items.insert(id.getRawID()).second) _stored.emplace(id.getRuntimeID(), withoutFile(id));
    }
    if (_files.empty()) return;
    for (const auto& id : included) {
        if (!isPlaced(id)) continue;
        auto stored = _changed(id);
        if (stored != id) _stored.emplace(id.getRuntimeID(), std::move(stored));
    }
}

const KrContentID* StoredIdentity::find(const KrContentID::Identifier& live) const {
    const auto found = _stored.find(live);
    return found != _stored.end() ? &found->second : nullptr;
}

KrContentID StoredIdentity::operator()(const KrContentID& live) const {
    if (_files.empty() || (live.getFile().empty() && live.getParentInstances().empty())) return live;
    const auto* stored = find(live.getRuntimeID());
    return stored != nullptr ? *stored : _changed(live);
}

KrContentID StoredIdentity::_changed(const KrContentID& live) const {
    if (!live.getParentInstances().empty()) return changeEntries(live, *this);
    return _isLeftOver(live) ? withoutFile(live) : live;
}

bool StoredIdentity::_isLeftOver(const KrContentID& live) const {
    // References of the file to content that was missing when it was loaded are taken to belong to that file.
    return _files.count(live.getFile()) != 0 && KrSim::KrContentRegistry::instance().find(live) == nullptr;
}

}  // namespace KrPersistence
