#include "kr/data/child_lookup.h"

#include <algorithm>
#include <bit>
#include <exception>
#include <memory>

#include "kr/data/field_base.h"

namespace KrData::detail {

namespace {

/// Fewer children are found as fast by looking at each.
constexpr std::size_t kFewChildren = 32;
/// The cost of the table for each child, in comparisons.
constexpr std::size_t kTableCost = 4;

}  // namespace

/// An open hash table of the children's numbers.
class ChildLookup::Table {
public:
    explicit Table(const Children& children) {
        _slots.resize(std::bit_ceil(children.size() * 2 + 2));
        for (const auto* child : children)
            _add(child->getID());
    }

    /// 0 when there is none, else 1 + the position.
    [[nodiscard]] std::uint32_t find(std::int32_t number) const noexcept { return _slots[_slotOf(number)].place; }
    /// Whether all identifiers are different.
    [[nodiscard]] bool isPlain() const noexcept { return _emptyCount == 0 && _twinCount == 0; }

    /// Where the search after a found child begins: paths are often looked up in the order of the children, as when
    /// connections and states are loaded.
    [[nodiscard]] std::uint32_t nextPosition() const noexcept { return _next.load(std::memory_order_relaxed); }
    void setNextPosition(std::uint32_t position) const noexcept { _next.store(position, std::memory_order_relaxed); }

    /// May throw; the table is of no use then.
    void add(const Kr::KrID& id) {
        if ((_count + 1) * 2 > _slots.size()) _grow();
        _add(id);
    }
    void removeLast(const Kr::KrID& id) noexcept {
        if (id.isEmpty()) --_emptyCount;
        const auto at = _slotOf(id.getNumber());
        if (_slots[at].place == _count--) {
            _close(at);
        } else {
            --_twinCount;
        }
    }

private:
    struct Slot {
        std::int32_t number{0};
        std::uint32_t place{0};  // 1 + the position of the first child with the number, 0 in an empty slot
    };

    [[nodiscard]] std::size_t _homeOf(std::int32_t number) const noexcept {
        // The number is a CRC, so its low bits are as good as a hash.
        return static_cast<std::uint32_t>(number) & (_slots.size() - 1);
    }
    /// The slot of the number, or the empty slot for it.
    [[nodiscard]] std::size_t _slotOf(std::int32_t number) const noexcept {
        auto at = _homeOf(number);
        while (_slots[at].place != 0 && _slots[at].number != number)
            at = (at + 1) & (_slots.size() - 1);
        return at;
    }
    void _add(const Kr::KrID& id) noexcept {
        ++_count;
        if (id.isEmpty()) ++_emptyCount;
        auto& slot = _slots[_slotOf(id.getNumber())];
        if (slot.place != 0) {
            ++_twinCount;
        } else {
            slot = {id.getNumber(), _count};
        }
    }
    void _grow() {
        auto old = std::vector<Slot>(_slots.size() * 2);
        old.swap(_slots);
        for (const auto& slot : old)
            if (slot.place != 0) _slots[_slotOf(slot.number)] = slot;
    }
    /// Empties a slot and moves later entries that were displaced by it.
    void _close(std::size_t gap) noexcept {
        const auto mask = _slots.size() - 1;
        for (auto at = (gap + 1) & mask; _slots[at].place != 0; at = (at + 1) & mask) {
            const auto wayFromHome = (at - _homeOf(_slots[at].number)) & mask;
            if (wayFromHome < ((at - gap) & mask)) continue;
            _slots[gap] = _slots[at];
            gap = at;
        }
        _slots[gap] = {};
    }

    std::vector<Slot> _slots;  // a power of two, at most half full
    std::uint32_t _count{0};   // children
    std::uint32_t _emptyCount{0};
    std::uint32_t _twinCount{0};
    mutable std::atomic<std::uint32_t> _next{0};  // a guess; several may search at the same time
};

ChildLookup::Table* ChildLookup::_table() const noexcept {
    const auto word = _word.load(std::memory_order_acquire);
    return (word & kIsEffort) == 0 ? reinterpret_cast<Table*>(word) : nullptr;
}

const ChildLookup::Table* ChildLookup::_tableFor(const Children& children) const noexcept {
    auto word = _word.load(std::memory_order_acquire);
    if (word != 0 && (word & kIsEffort) == 0) return reinterpret_cast<const Table*>(word);
    const auto effort = (word >> 1U) + children.size();
    if (effort <= kTableCost * children.size()) {
        // Of two simultaneous counts one may be lost.
        _word.compare_exchange_strong(word, (effort << 1U) | kIsEffort, std::memory_order_relaxed);
        return nullptr;
    }
    try {
        auto table = std::make_unique<Table>(children);
        if (_word.compare_exchange_strong(word, reinterpret_cast<std::uintptr_t>(table.get()),
                                          std::memory_order_acq_rel)) {
            return table.release();
        }
    } catch (const std::exception&) {
    }
    return _table();
}

std::size_t ChildLookup::find(const Children& children, const Kr::KrID& id) const noexcept {
    if (children.size() > kFewChildren) {
        if (const auto* table = _tableFor(children)) {
            const auto place = table->find(id.getNumber());
            return place != 0 ? place - 1 : children.size();
        }
    }
    const auto found =
        std::find_if(children.begin(), children.end(), [&](const FieldBase* child) { return child->getID() == id; });
    return static_cast<std::size_t>(found - children.begin());
}

bool ChildLookup::findSteps(const Children& children, std::string_view path, Steps& steps) const noexcept {
    const auto* table = children.size() > kFewChildren ? _tableFor(children) : nullptr;
    if (table == nullptr || !table->isPlain()) return false;
    const auto next = table->nextPosition();
    if (next < children.size() && children[next]->getID().str() == path && path.find('.') == std::string_view::npos) {
        steps.positions[steps.count++] = next;
        table->setNextPosition(next + 1);
        return true;
    }
    for (std::size_t dot = 0, tried = 0; dot < path.size(); ++dot) {
        dot = std::min(path.find('.', dot), path.size());
        if (tried++ == Steps::kMost) return false;
        const auto step = path.substr(0, dot);
        const auto place = step.empty() ? 0 : table->find(Kr::KrID::numberFor(step));
        // Other texts may have the same number.
        if (place != 0 && children[place - 1]->getID().str() == step) steps.positions[steps.count++] = place - 1;
    }
    std::sort(steps.positions, steps.positions + steps.count);
    if (steps.count != 0) table->setNextPosition(steps.positions[steps.count - 1] + 1);
    return true;
}

void ChildLookup::onAppended(const Children& children) noexcept {
    auto* table = _table();
    if (table == nullptr) return;
    try {
        table->add(children.back()->getID());
    } catch (const std::exception&) {
        drop();
    }
}

void ChildLookup::onLastGoes(const Children& children) noexcept {
    if (auto* table = _table()) table->removeLast(children.back()->getID());
}

void ChildLookup::drop() noexcept {
    delete _table();
    _word.store(0, std::memory_order_relaxed);
}

}  // namespace KrData::detail
