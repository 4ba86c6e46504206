#include "kr/data/connection_list.h"

#include <algorithm>
#include <iterator>
#include <memory>

namespace KrData::detail {

using Kr::KrConnectionBase;

struct ConnectionList::Many {
    [[nodiscard]] bool contains(const KrConnectionBase& connection) const noexcept {
        const auto slot = connection._getSlot(end);
        return slot < slots.size() && slots[slot] == &connection;
    }
    void add(KrConnectionBase& connection) {
        slots.push_back(&connection);
        connection._setSlot(end, static_cast<std::uint32_t>(slots.size() - 1));
        ++live;
        only = slots.size() == 1 ? &connection : nullptr;
    }
    void closeUp() noexcept {
        if (walks != 0 || live * 2 > slots.size() || live == slots.size()) return;
        std::size_t used = 0;
        for (auto* connection : slots) {
            if (connection == nullptr) continue;
            connection->_setSlot(end, static_cast<std::uint32_t>(used));
            slots[used++] = connection;
        }
        slots.resize(used);
        head = 0;
        only = used == 1 ? slots[0] : nullptr;
    }

    KrConnectionBase* only{nullptr};  // the first slot when there are no more
    std::vector<KrConnectionBase*> slots;
    std::size_t live{0};
    std::size_t head{0};  // no connection stands before it
    std::uint32_t walks{0};
    KrConnectionBase::End end{KrConnectionBase::End::kSource};
};

ConnectionList::~ConnectionList() {
    delete _many();
}

bool ConnectionList::add(KrConnectionBase* connection, KrConnectionBase::End end) {
    auto* many = _many();
    if (many == nullptr) {
        auto* single = _single();
        if (single == connection) return false;
        if (single == nullptr) {
            _word = reinterpret_cast<std::uintptr_t>(connection);
            return true;
        }
        auto made = std::make_unique<Many>();
        made->end = end;
        made->add(*single);
        made->add(*connection);
        _word = reinterpret_cast<std::uintptr_t>(made.release()) | kIsMany;
        return true;
    }
    if (many->contains(*connection)) return false;
    many->add(*connection);
    return true;
}

bool ConnectionList::remove(KrConnectionBase* connection) noexcept {
    auto* many = _many();
    if (many == nullptr) {
        if (connection == nullptr || _single() != connection) return false;
        _word = 0;
        return true;
    }
    if (!many->contains(*connection)) return false;
    many->slots[connection->_getSlot(many->end)] = nullptr;
    connection->_setSlot(many->end, KrConnectionBase::kNoSlot);
    --many->live;
    many->only = nullptr;
    many->closeUp();
    return true;
}

std::size_t ConnectionList::size() const noexcept {
    const auto* many = _many();
    if (many != nullptr) return many->live;
    return _word != 0 ? 1 : 0;
}

KrConnectionBase* ConnectionList::first() const noexcept {
    auto* many = _many();
    if (many == nullptr) return _single();
    while (many->head < many->slots.size() && many->slots[many->head] == nullptr)
        ++many->head;
    return many->head < many->slots.size() ? many->slots[many->head] : nullptr;
}

KrConnectionBase* ConnectionList::last() const noexcept {
    const auto* many = _many();
    if (many == nullptr) return _single();
    const auto found =
        std::find_if(many->slots.rbegin(), many->slots.rend(), [](const auto* each) { return each != nullptr; });
    return found != many->slots.rend() ? *found : nullptr;
}

std::vector<KrConnectionBase*> ConnectionList::connections() const {
    std::vector<KrConnectionBase*> result;
    const auto* many = _many();
    if (many == nullptr) {
        if (auto* single = _single()) result.push_back(single);
        return result;
    }
    result.reserve(many->live);
    std::copy_if(many->slots.begin(), many->slots.end(), std::back_inserter(result),
                 [](const auto* each) { return each != nullptr; });
    return result;
}

KrConnectionBase* ConnectionList::_onlyOfMany() const noexcept {
    return _many()->only;
}

std::size_t ConnectionList::slotCount() const noexcept {
    const auto* many = _many();
    return many != nullptr ? many->slots.size() : 0;
}

KrConnectionBase* ConnectionList::slot(std::size_t index) const noexcept {
    return _many()->slots[index];
}

void ConnectionList::beginWalk() const noexcept {
    ++_many()->walks;
}

void ConnectionList::endWalk() const noexcept {
    auto* many = _many();
    --many->walks;
    many->closeUp();
}

}  // namespace KrData::detail
