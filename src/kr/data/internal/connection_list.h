#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kr/core/connection_base.h"

namespace KrData::detail {

/// The connections at one end of a field, in the order of addition.
///
/// Each connection knows its slot, so membership and removal take constant time. A removed one leaves an empty slot,
/// so that a walk by index stays in place; the slots close up when nobody walks and half of them are empty.
class ConnectionList {
public:
    explicit ConnectionList(Kr::KrConnectionBase::End end) noexcept : _end(end) {}

    /// False when it is listed already.
    bool add(Kr::KrConnectionBase* connection);
    bool remove(Kr::KrConnectionBase* connection) noexcept;
    [[nodiscard]] std::size_t size() const noexcept { return _live; }
    [[nodiscard]] std::vector<Kr::KrConnectionBase*> connections() const;

    /// The oldest connection, null when there is none.
    [[nodiscard]] Kr::KrConnectionBase* first() const noexcept;
    /// The youngest one, null when there is none.
    [[nodiscard]] Kr::KrConnectionBase* last() const noexcept;
    /// The connection when there is a single one; may be null also when others were removed.
    [[nodiscard]] Kr::KrConnectionBase* only() const noexcept { return _only; }

    // A walk: slots may be empty, and more may follow while it goes on.
    [[nodiscard]] std::size_t slotCount() const noexcept { return _slots.size(); }
    [[nodiscard]] Kr::KrConnectionBase* slot(std::size_t index) const noexcept { return _slots[index]; }
    void beginWalk() noexcept { ++_walks; }
    void endWalk() noexcept;

private:
    [[nodiscard]] bool _contains(const Kr::KrConnectionBase& connection) const noexcept;
    void _closeUp() noexcept;

    Kr::KrConnectionBase* _only{nullptr};  // the first slot when there are no more; chains take no other step
    std::vector<Kr::KrConnectionBase*> _slots;
    std::size_t _live{0};
    mutable std::size_t _head{0};  // no connection stands before it
    std::uint32_t _walks{0};
    Kr::KrConnectionBase::End _end;
};

}  // namespace KrData::detail
