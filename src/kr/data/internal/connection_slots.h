#pragma once

#include <cstddef>
#include <cstdint>

#include "kr/core/connection_access.h"
#include "kr/data/connection_list.h"
#include "kr/signals/walk_list.h"

namespace KrData::detail {

/// Tells a connection its place in the list at one of its ends.
struct SlotSetter {
    void operator()(Kr::KrConnectionBase* connection, std::size_t place) const noexcept {
        Kr::detail::ConnectionAccess::setSlot(*connection, end, static_cast<std::uint32_t>(place));
    }
    Kr::KrConnectionBase::End end;
};

/// The connections at one end of a field that has, or had, more than one. Each knows its place.
struct ConnectionList::Many : Kr::WalkList<Kr::KrConnectionBase*, SlotSetter> {
    explicit Many(Kr::KrConnectionBase::End itsEnd) noexcept : WalkList(SlotSetter{itsEnd}), end(itsEnd) {}

    [[nodiscard]] bool contains(const Kr::KrConnectionBase& connection) const noexcept {
        const auto slot = Kr::detail::ConnectionAccess::getSlot(connection, end);
        return slot < places().size() && places()[slot] == &connection;
    }

    const Kr::KrConnectionBase::End end;
};

/// Calls the function with each connection that is listed now, except those removed before. The list may die meanwhile.
template <class Call>
void forEachConnection(const ConnectionList& list, const Call& call) {
    if (auto* only = list.onlyIfNeverMany()) return call(*only);
    auto* many = list.many();
    if (many == nullptr) return;
    for (ConnectionList::Many::Walk walk(*many); auto* connection = walk.next();)
        call(*connection);
}

}  // namespace KrData::detail
