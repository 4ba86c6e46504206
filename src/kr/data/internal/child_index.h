#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kr/data/field_base.h"

namespace KrData::detail {

/// Finds the first child with an identifier; for whole-tree operations, where one linear search a child would make
/// them quadratic. Few children are searched directly, many through a flat hash table of their numbers.
class ChildIndex {
public:
    explicit ChildIndex(const FieldBase::Children& children) : _children(children) {
        if (children.size() <= kSearchDirectly) return;
        _slots.resize(std::bit_ceil(children.size() * 2), 0);
        for (std::uint32_t i = 0; i < children.size(); ++i) {
            auto& slot = _slotOf(children[i]->getID());
            if (slot == 0) slot = i + 1;
        }
    }

    [[nodiscard]] FieldBase* find(const Kr::KrID& id) {
        if (_slots.empty()) {
            for (auto* child : _children) {
                if (child->getID() == id) return child;
            }
            return nullptr;
        }
        const auto slot = _slotOf(id);
        return slot != 0 ? _children[slot - 1] : nullptr;
    }

private:
    static constexpr std::size_t kSearchDirectly = 16;

    /// The slot that holds a child with this identifier, or the empty one where it would stand.
    [[nodiscard]] std::uint32_t& _slotOf(const Kr::KrID& id) {
        const auto mask = _slots.size() - 1;
        // The number is a CRC, so its low bits are as good as a hash.
        auto at = static_cast<std::uint32_t>(id.getNumber()) & mask;
        while (_slots[at] != 0 && _children[_slots[at] - 1]->getID() != id)
            at = (at + 1) & mask;
        return _slots[at];
    }

    const FieldBase::Children& _children;
    std::vector<std::uint32_t> _slots;  // 1 + index of the child, 0 for an empty slot
};

}  // namespace KrData::detail
