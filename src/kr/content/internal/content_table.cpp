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
    return 1 + (place->further ? place->further->others.size() : 0);
}

bool ContentTable::contains(const KrContentID::Identifier& id, const KrExtension* extension) const {
    const ContentPlace* place = find(id);
    if (!place || !extension) return false;
    return place->first == extension || (place->further && place->further->places.count(extension) != 0);
}

ContentLink* ContentTable::linksOf(const KrContentID::Identifier& id) const {
    const ContentPlace* place = find(id);
    return place && place->further ? place->further->links : nullptr;
}

bool ContentTable::add(const KrContentID::Identifier& id, KrExtension* extension) {
    ContentPlace& place = _places[id];
    if (!place.first) {
        place.first = extension;
    } else {
        if (contains(id, extension)) return false;
        FurtherContent& further = _furtherOf(place);
        further.others.push_back(extension);
        try {
            further.places.emplace(extension, std::prev(further.others.end()));
        } catch (...) {
            further.others.pop_back();
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
    FurtherContent* further = place.further.get();
    if (place.first == extension) {
        place.first = nullptr;
        if (further && !further->others.empty()) {
            place.first = further->others.front();
            further->places.erase(place.first);
            further->others.pop_front();
        }
    } else {
        if (!further) return false;
        const auto other = further->places.find(extension);
        if (other == further->places.end()) return false;
        further->others.erase(other->second);
        further->places.erase(other);
    }
    --_extensionCount;
    _eraseIfUnused(found);
    return true;
}

void ContentTable::addLink(ContentLink& link) {
    FurtherContent& further = _furtherOf(_places[keyOf(link.id, _kind)]);
    link.hook(_kind) = {nullptr, further.links, true};
    if (further.links) further.links->hook(_kind).previous = &link;
    further.links = &link;
}

void ContentTable::removeLink(ContentLink& link) noexcept {
    const ContentHook hook = std::exchange(link.hook(_kind), {});
    if (!hook.isLinked) return;
    const auto place = _places.find(keyOf(link.id, _kind));
    (hook.previous ? hook.previous->hook(_kind).next : place->second.further->links) = hook.next;
    if (hook.next) hook.next->hook(_kind).previous = hook.previous;
    _eraseIfUnused(place);
}

FurtherContent& ContentTable::_furtherOf(ContentPlace& place) {
    if (!place.further) place.further = std::make_unique<FurtherContent>();
    return *place.further;
}

void ContentTable::_eraseIfUnused(Places::iterator place) noexcept {
    auto& [first, further] = place->second;
    if (further && !further->links && further->others.empty()) further.reset();
    if (!first && !further) _places.erase(place);
}

}  // namespace KrSim::detail
