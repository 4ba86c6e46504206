#include "kr/content/internal/content_table.h"

#include <utility>

namespace KrSim::detail {

const ContentPlace* ContentTable::find(const KrContentID::Identifier& id) const {
    const auto place = _places.find(id);
    return place == _places.end() ? nullptr : &place->second;
}

KrExtension* ContentTable::findFirst(const KrContentID::Identifier& id) const {
    const ContentPlace* place = find(id);
    return place ? place->first : nullptr;
}

std::size_t ContentTable::countOf(const KrContentID::Identifier& id) const {
    const ContentPlace* place = find(id);
    if (!place || !place->first) return 0;
    return 1 + (place->crowd ? place->crowd->others.size() : 0);
}

bool ContentTable::contains(const KrContentID::Identifier& id, const KrExtension* extension) const {
    const ContentPlace* place = find(id);
    if (!place || !extension) return false;
    return place->first == extension || (place->crowd && place->crowd->places.count(extension) != 0);
}

ContentLink* ContentTable::linksOf(const KrContentID::Identifier& id) const {
    const ContentPlace* place = find(id);
    return place && place->crowd ? place->crowd->links : nullptr;
}

bool ContentTable::add(const KrContentID::Identifier& id, KrExtension* extension) {
    ContentPlace& place = _places[id];
    if (!place.first) {
        place.first = extension;
    } else {
        if (contains(id, extension)) return false;
        ContentCrowd& crowd = _crowdOf(place);
        crowd.others.push_back(extension);
        try {
            crowd.places.emplace(extension, std::prev(crowd.others.end()));
        } catch (...) {
            crowd.others.pop_back();
            throw;
        }
    }
    ++_extensionCount;
    return true;
}

bool ContentTable::remove(const KrContentID::Identifier& id, const KrExtension* extension) noexcept {
    const auto found = _places.find(id);
    if (found == _places.end() || !extension) return false;
    ContentPlace& place = found->second;
    ContentCrowd* crowd = place.crowd.get();
    if (place.first == extension) {
        place.first = nullptr;
        if (crowd && !crowd->others.empty()) {
            place.first = crowd->others.front();
            crowd->places.erase(place.first);
            crowd->others.pop_front();
        }
    } else {
        if (!crowd) return false;
        const auto other = crowd->places.find(extension);
        if (other == crowd->places.end()) return false;
        crowd->others.erase(other->second);
        crowd->places.erase(other);
    }
    --_extensionCount;
    _eraseIfUnused(found);
    return true;
}

void ContentTable::addLink(ContentLink& link) {
    ContentCrowd& crowd = _crowdOf(_places[keyOf(link.id, _kind)]);
    link.hook(_kind) = {nullptr, crowd.links, true};
    if (crowd.links) crowd.links->hook(_kind).previous = &link;
    crowd.links = &link;
}

void ContentTable::removeLink(ContentLink& link) noexcept {
    const ContentHook hook = std::exchange(link.hook(_kind), {});
    if (!hook.isLinked) return;
    const auto place = _places.find(keyOf(link.id, _kind));
    (hook.previous ? hook.previous->hook(_kind).next : place->second.crowd->links) = hook.next;
    if (hook.next) hook.next->hook(_kind).previous = hook.previous;
    _eraseIfUnused(place);
}

ContentCrowd& ContentTable::_crowdOf(ContentPlace& place) {
    if (!place.crowd) place.crowd = std::make_unique<ContentCrowd>();
    return *place.crowd;
}

void ContentTable::_eraseIfUnused(Places::iterator place) noexcept {
    auto& [first, crowd] = place->second;
    if (crowd && !crowd->links && crowd->others.empty()) crowd.reset();
    if (!first && !crowd) _places.erase(place);
}

}  // namespace KrSim::detail
