#include "kr/data/internal/connection_list.h"

#include <algorithm>

namespace KrData::detail {

bool ConnectionList::_contains(const Kr::KrConnectionBase& connection) const noexcept {
    const auto slot = connection._getSlot(_end);
    return slot < _slots.size() && _slots[slot] == &connection;
}

bool ConnectionList::add(Kr::KrConnectionBase* connection) {
    if (_contains(*connection)) return false;
    _slots.push_back(connection);
    connection->_setSlot(_end, static_cast<std::uint32_t>(_slots.size() - 1));
    ++_live;
    _only = _slots.size() == 1 ? connection : nullptr;
    return true;
}

bool ConnectionList::remove(Kr::KrConnectionBase* connection) noexcept {
    if (!_contains(*connection)) return false;
    _slots[connection->_getSlot(_end)] = nullptr;
    connection->_setSlot(_end, Kr::KrConnectionBase::kNoSlot);
    --_live;
    _only = nullptr;
    _closeUp();
    return true;
}

Kr::KrConnectionBase* ConnectionList::first() const noexcept {
    while (_head < _slots.size() && _slots[_head] == nullptr)
        ++_head;
    return _head < _slots.size() ? _slots[_head] : nullptr;
}

Kr::KrConnectionBase* ConnectionList::last() const noexcept {
    const auto found = std::find_if(_slots.rbegin(), _slots.rend(), [](const auto* each) { return each != nullptr; });
    return found != _slots.rend() ? *found : nullptr;
}

std::vector<Kr::KrConnectionBase*> ConnectionList::connections() const {
    std::vector<Kr::KrConnectionBase*> result;
    result.reserve(_live);
    for (auto* connection : _slots) {
        if (connection != nullptr) result.push_back(connection);
    }
    return result;
}

void ConnectionList::endWalk() noexcept {
    --_walks;
    _closeUp();
}

void ConnectionList::_closeUp() noexcept {
    if (_walks != 0 || _live * 2 > _slots.size() || _live == _slots.size()) return;
    std::size_t used = 0;
    for (auto* connection : _slots) {
        if (connection == nullptr) continue;
        connection->_setSlot(_end, static_cast<std::uint32_t>(used));
        _slots[used++] = connection;
    }
    _slots.resize(used);
    _head = 0;
    _only = used == 1 ? _slots[0] : nullptr;
}

}  // namespace KrData::detail
