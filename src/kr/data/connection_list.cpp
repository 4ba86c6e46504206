#include "kr/data/connection_list.h"

#include <algorithm>
#include <memory>

#include "kr/core/connection_access.h"
#include "kr/data/internal/connection_slots.h"

namespace KrData::detail {

using Kr::KrConnectionBase;
using Kr::detail::ConnectionAccess;

ConnectionList::~ConnectionList() {
    delete many();
}

bool ConnectionList::add(KrConnectionBase* connection, KrConnectionBase::End end) {
    auto* list = many();
    if (list == nullptr) {
        auto* single = _single();
        if (single == connection) return false;
        if (single == nullptr) {
            _word = reinterpret_cast<std::uintptr_t>(connection);
            return true;
        }
        auto made = std::make_unique<Many>(end);
        for (auto* each : {single, connection})
            ConnectionAccess::setSlot(*each, end, static_cast<std::uint32_t>(made->add(each)));
        _word = reinterpret_cast<std::uintptr_t>(made.release()) | kIsMany;
        return true;
    }
    if (list->contains(*connection)) return false;
    ConnectionAccess::setSlot(*connection, end, static_cast<std::uint32_t>(list->add(connection)));
    return true;
}

bool ConnectionList::remove(KrConnectionBase* connection) noexcept {
    auto* list = many();
    if (list == nullptr) {
        if (connection == nullptr || _single() != connection) return false;
        _word = 0;
        return true;
    }
    if (!list->contains(*connection)) return false;
    const auto slot = ConnectionAccess::getSlot(*connection, list->end);
    ConnectionAccess::setSlot(*connection, list->end, KrConnectionBase::kNoSlot);
    list->removeAt(slot);
    return true;
}

std::size_t ConnectionList::size() const noexcept {
    const auto* list = many();
    if (list != nullptr) return list->size();
    return _word != 0 ? 1 : 0;
}

KrConnectionBase* ConnectionList::first() const noexcept {
    auto* list = many();
    return list != nullptr ? list->first() : _single();
}

KrConnectionBase* ConnectionList::last() const noexcept {
    const auto* list = many();
    if (list == nullptr) return _single();
    const auto& places = list->places();
    const auto found = std::find_if(places.rbegin(), places.rend(), [](const auto* each) { return each != nullptr; });
    return found != places.rend() ? *found : nullptr;
}

std::vector<KrConnectionBase*> ConnectionList::connections() const {
    if (const auto* list = many()) return list->items();
    auto* single = _single();
    return single != nullptr ? std::vector{single} : std::vector<KrConnectionBase*>();
}

KrConnectionBase* ConnectionList::_onlyOfMany() const noexcept {
    const auto& places = many()->places();
    return places.size() == 1 ? places[0] : nullptr;
}

}  // namespace KrData::detail
