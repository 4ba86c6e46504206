#include "kr/persistence/archives/internal/loaded_objects.h"

#include <algorithm>
#include <utility>

namespace KrPersistence::detail {

std::int16_t LoadedObjects::classOf(const Serializer& serializer) {
    std::int16_t number = 0;
    if (const AddressTable::Entry* known = _serializers.find(&serializer, 0)) {
        number = static_cast<std::int16_t>(known->number);
    } else {
        const auto [position, isNew] =
            _classes.emplace(&serializer.get_eti(), static_cast<std::int16_t>(classes.size()));
        if (isNew) classes.push_back({.serializer = &serializer});
        number = position->second;
        _serializers.add(&serializer, 0, static_cast<std::uint32_t>(number));
    }
    Class& found = classes[static_cast<std::size_t>(number)];
    if (found.pointerSerializer == nullptr) found.pointerSerializer = serializer.get_bpis_ptr();
    return number;
}

void LoadedObjects::move(const void* to, const void* from, std::size_t size) {
    const auto start = reinterpret_cast<std::uintptr_t>(from);
    const auto isInside = [&](const Object& object) {
        return object.state == eState::kValue && object.pointerLevel == pointerLevel &&
               reinterpret_cast<std::uintptr_t>(object.address) - start < size;
    };
    const auto first = objects.begin() + static_cast<std::ptrdiff_t>(std::min(recent, objects.size()));
    if (std::none_of(first, objects.end(), isInside)) return;
    for (auto each = first; each != objects.end(); ++each) {
        if (isInside(*each)) {
            const auto offset = reinterpret_cast<std::uintptr_t>(each->address) - start;
            each->address = const_cast<char*>(static_cast<const char*>(to)) + offset;
        } else if (each->state == eState::kValue && each->pointerLevel == pointerLevel) {
            // Something that the value holds elsewhere: it may have been copied.
            each->state = eState::kGone;
        }
    }
}

bool LoadedObjects::adopt(const void* object) {
    const auto found = std::find_if(unowned.rbegin(), unowned.rend(),
                                    [&](std::uint32_t place) { return objects[place].address == object; });
    if (found == unowned.rend()) return false;
    unowned.erase(std::next(found).base());
    return true;
}

void LoadedObjects::destroyUnowned() {
    // Taken out one by one: a destructor may ask the archive again.
    while (!unowned.empty()) {
        Object& object = objects[unowned.back()];
        unowned.pop_back();
        object.state = eState::kGone;
        classes[static_cast<std::size_t>(object.number)].serializer->destroy(object.address);
    }
}

}  // namespace KrPersistence::detail
