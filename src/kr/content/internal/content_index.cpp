#include "kr/content/internal/content_index.h"

namespace KrSim::detail {

bool ContentIndex::add(KrExtension* extension, const KrContentID& id) {
    if (!_byRuntimeID.add(id.getRuntimeID(), extension)) return false;
    if (!_hasRawID(id)) return true;
    try {
        _byRawID.add(id.getRawID(), extension);
    } catch (...) {
        _byRuntimeID.remove(id.getRuntimeID(), extension);
        throw;
    }
    return true;
}

bool ContentIndex::remove(const KrExtension* extension, const KrContentID& id) noexcept {
    if (!_byRuntimeID.remove(id.getRuntimeID(), extension)) return false;
    if (_hasRawID(id)) _byRawID.remove(id.getRawID(), extension);
    return true;
}

void ContentIndex::changeID(KrExtension* extension, const KrContentID& before, const KrContentID& after) {
    const bool isSameRaw = _hasRawID(before) && _hasRawID(after) && before.isRawIDSame(after);
    const bool isRawNew = _hasRawID(after) && !isSameRaw;
    if (isRawNew) _byRawID.add(after.getRawID(), extension);
    if (before != after) {
        try {
            _byRuntimeID.add(after.getRuntimeID(), extension);
        } catch (...) {
            if (isRawNew) _byRawID.remove(after.getRawID(), extension);
            throw;
        }
        _byRuntimeID.remove(before.getRuntimeID(), extension);
    }
    if (_hasRawID(before) && !isSameRaw) _byRawID.remove(before.getRawID(), extension);
}

KrExtension* ContentIndex::findFirst(const KrContentID::Identifier& runtimeID) const {
    return runtimeID.isNull() ? nullptr : _byRuntimeID.findFirst(runtimeID);
}

std::size_t ContentIndex::countOf(const KrContentID::Identifier& rawID) const {
    // Where there is no file, the runtime ID is the raw ID.
    return rawID.isNull() ? 0 : _byRuntimeID.countOf(rawID) + _byRawID.countOf(rawID);
}

std::vector<KrExtension*> ContentIndex::findItems(const KrContentID::Identifier& rawID, std::size_t most) const {
    std::vector<KrExtension*> items;
    if (rawID.isNull()) return items;
    for (const auto* table : {&_byRuntimeID, &_byRawID}) {
        const ContentPlace* place = table->find(rawID);
        if (!place || !place->first) continue;
        if (items.size() < most) items.push_back(place->first);
        if (!place->further) continue;
        for (auto each = place->further->others.begin(); each != place->further->others.end() && items.size() < most;
             ++each)
            items.push_back(*each);
    }
    return items;
}

KrExtension* ContentIndex::findOnly(const KrContentID::Identifier& rawID) const {
    if (countOf(rawID) != 1) return nullptr;
    auto* plain = _byRuntimeID.findFirst(rawID);
    return plain ? plain : _byRawID.findFirst(rawID);
}

void ContentIndex::addLink(ContentLink& link) {
    _byRuntimeID.addLink(link);
    if (!_hasRawID(link.id)) return;
    try {
        _byRawID.addLink(link);
    } catch (...) {
        _byRuntimeID.removeLink(link);
        throw;
    }
}

void ContentIndex::removeLink(ContentLink& link) noexcept {
    _byRuntimeID.removeLink(link);
    _byRawID.removeLink(link);
}

}  // namespace KrSim::detail
