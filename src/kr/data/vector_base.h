#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kr/data/field_base.h"

namespace KrData {

namespace detail {
struct VectorAccess;
}  // namespace detail

/// A field whose value is a resizable vector of items of one data type; Vector<T> has the items.
///
/// For incremental transfer a vector can keep the ranges of indices that changed since the last transfer. A transfer
/// reads the size and the ranges, copies, and calls clearChanges().
/// Thread: application. Ownership: see FieldBase.
class KR_API VectorBase : public FieldBase {
public:
    /// First and last changed index, both included.
    using ChangeRange = std::pair<std::uint64_t, std::uint64_t>;
    using ChangeRanges = std::vector<ChangeRange>;

    ~VectorBase() override;

    // --- Items -----------------------------------------------------------------------------------------------------
    [[nodiscard]] virtual std::size_t size() const noexcept = 0;
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    /// Appends default items, or removes the last ones. False, and nothing changes, when memory does not suffice.
    virtual bool resize(std::size_t count) = 0;
    void clear() { resize(0); }
    [[nodiscard]] virtual Types::DataTypeEnum getItemDataType() const noexcept = 0;  ///< A value type.
    /// Copies the items `first` to `last` that both vectors have, and notifies once. False, and nothing changes, when
    /// the item data types differ.
    virtual bool copyItems(const VectorBase& source, std::size_t first, std::size_t last) = 0;

    // --- Change tracking -------------------------------------------------------------------------------------------
    /// Initially disabled. Drops the changes recorded so far; changes are recorded from then on only when enabled.
    void enableIncrementalDataTransfer(bool enable);
    /// False initially.
    [[nodiscard]] bool isIncrementalDataTransferEnabled() const noexcept { return _incrementalTransfer; }
    /// Drops the recorded changes and, when incremental transfer is enabled, records again.
    void clearChanges();
    /// Whether the changed ranges are complete; if not, transfer the whole vector.
    [[nodiscard]] bool isTracking() const noexcept { return _incrementalTransfer && _tracking; }
    /// The changed ranges, sorted and disjoint. May extend past the end after removals. Valid until the next change.
    [[nodiscard]] const ChangeRanges& getChanges() const;
    /// Drops the recorded changes and records none until the next clearChanges().
    void _disableTracking();
    /// For people: the size and the first items.
    [[nodiscard]] std::string getText() const;
    /// Records that the items `first` to `last` changed; overlapping ranges are merged.
    void _addChange(std::uint64_t first, std::uint64_t last);

protected:
    explicit VectorBase(const Kr::KrID& id);
    /// Allocates memory for one more range.
    void _prepareChange();
    /// A copy starts without incremental transfer.
    VectorBase(const VectorBase& source);

    /// Makes the vector as long as `source` and copies the items in `ranges`, which is not empty, and all new ones;
    /// notifies once. For vectors that were equal before the source changed in these ranges. False, and nothing
    /// changes, when the item data types differ.
    virtual bool _followItems(const VectorBase& source, const ChangeRanges& ranges) = 0;
    /// Copies the items of `source` without notification, but records the change for later connections. Returns whether
    /// they differed from the previous ones, bit by bit, and there are observers or connections to notify. False, and
    /// nothing changes, when the item data types differ.
    virtual bool _restoreItems(const VectorBase& source) = 0;
    /// Allocates the memory for the next _restoreItems of this source.
    virtual void _prepareRestore(const VectorBase& source) = 0;
    /// Whether both have the same items, bit by bit.
    [[nodiscard]] virtual bool _hasIdenticalItems(const VectorBase& other) const = 0;
    /// Bytes of one item, without memory that it owns elsewhere.
    [[nodiscard]] virtual std::size_t _getItemBytes() const noexcept = 0;
    [[nodiscard]] virtual std::string _getItemText(std::size_t index) const = 0;
    /// Records the range and notifies connections and observers, once.
    void _itemsChanged(std::uint64_t first, std::uint64_t last);

private:
    friend struct detail::VectorAccess;

    void _mergeChanges() const;

    // The first _mergedCount ranges are sorted and disjoint; those behind wait to be merged, so that many changes in
    // any order cost no search and no shifting each.
    mutable ChangeRanges _changes;
    mutable std::size_t _mergedCount{0};
    // Recorded changes, and those dropped by clearChanges(); both only grow. The ranges are complete for a reader that
    // has seen as many changes as were dropped.
    std::uint64_t _changeCount{0};
    std::uint64_t _forgottenCount{0};
    bool _incrementalTransfer{false};
    bool _tracking{false};
};

}  // namespace KrData
