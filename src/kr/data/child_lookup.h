#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "kr/core/id.h"
#include "kr/data/fwd.h"

namespace KrData::detail {

/// Finds the children of one container by their identifiers. Few children are searched one by one; for many, a table is
/// made when searches have cost more than making it. Appending a child and removing the last one update the table;
/// every other change of the list drops it.
///
/// Never throws: without memory for the table children are searched one by one. Thread: several may search at the same
/// time, but not during a change of the list.
class ChildLookup {
public:
    using Children = std::vector<FieldBase*>;

    ChildLookup() noexcept = default;
    ChildLookup(const ChildLookup&) = delete;
    ChildLookup& operator=(const ChildLookup&) = delete;
    ~ChildLookup() { drop(); }

    /// The position of the first child with this identifier, or the number of children.
    [[nodiscard]] std::size_t find(const Children& children, const Kr::KrID& id) const noexcept;
    /// Fills in the positions, in rising order, of the children with whose identifiers `path` begins, up to a dot or
    /// its end. False when only a search through all children can tell: without a table, and when identifiers are empty
    /// or used twice.
    struct Steps {
        static constexpr std::size_t kMost = 8;
        std::uint32_t positions[kMost];
        std::size_t count{0};
    };
    [[nodiscard]] bool findSteps(const Children& children, std::string_view path, Steps& steps) const noexcept;

    /// The last child is new.
    void onAppended(const Children& children) noexcept;
    /// The last child is about to go.
    void onLastGoes(const Children& children) noexcept;
    /// Any other change.
    void drop() noexcept;

private:
    class Table;
    static constexpr std::uintptr_t kIsEffort = 1;

    /// The table, made when it pays. Null without one; the search that follows is counted.
    [[nodiscard]] const Table* _tableFor(const Children& children) const noexcept;
    [[nodiscard]] Table* _table() const noexcept;

    // The table's address; while there is none, children looked at since the last change, doubled, and the mark.
    mutable std::atomic<std::uintptr_t> _word{0};
};

}  // namespace KrData::detail
