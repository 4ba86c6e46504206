#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kr/data/field_base.h"

namespace KrData {

/// A field whose value is a resizable vector of items of one data type; Vector<T> has the items.
///
/// For incremental transfer a vector can keep the ranges of indices that changed since the last transfer. A
/// transfer reads the size and the ranges, copies, and calls clearChanges().
class KR_API VectorBase : public FieldBase {
public:
    /// First and last changed index, both included.
    using ChangeRange = std::pair<std::uint64_t, std::uint64_t>;
    using ChangeRanges = std::vector<ChangeRange>;

    ~VectorBase() override;

    // --- Items -----------------------------------------------------------------------------------------------------
    [[nodiscard]] virtual std::size_t size() const noexcept = 0;
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    /// Adds default items at the end, or drops the last ones. False, and nothing changes, when memory does not suffice.
    virtual bool resize(std::size_t count) = 0;
    void clear() { resize(0); }
    [[nodiscard]] virtual Types::DataTypeEnum getItemDataType() const noexcept = 0;
    /// Copies the items `first` to `last`, as far as both vectors have them, and notifies once. False, and nothing
    /// changes, when the item data types differ.
    virtual bool copyItems(const VectorBase& source, std::size_t first, std::size_t last) = 0;

    // --- Change tracking -------------------------------------------------------------------------------------------
    /// Off at first. Forgets the changes so far; tracking is active from then on exactly when enabled.
    void enableIncrementalDataTransfer(bool enable);
    [[nodiscard]] bool isIncrementalDataTransferEnabled() const noexcept { return _incrementalTransfer; }
    /// Forgets the changes so far and, when incremental transfer is enabled, tracks again.
    void clearChanges();
    /// Whether the changed ranges are complete; if not, the whole vector is to be transferred.
    [[nodiscard]] bool isTracking() const noexcept { return _incrementalTransfer && _tracking; }
    /// The changed ranges, sorted, no index in two of them. After items were dropped they reach past the end.
    /// Good until the next change.
    [[nodiscard]] const ChangeRanges& getChanges() const;
    /// Forgets the changes and tracks none until the next clearChanges().
    void _disableTracking();
    /// Makes the vector as long as `source` and copies the items in `ranges`, of which there is at least one, and all
    /// new ones; notifies once. For vectors that were equal before the source changed there. False, and nothing
    /// changes, when the item data types differ.
    virtual bool _followItems(const VectorBase& source, const ChangeRanges& ranges) = 0;
    /// Takes the items of `source` as they are, without notification, but records the change for connections to come.
    /// Answers whether they were others, bit by bit, and there are observers or connections to notify. False, and
    /// nothing changes, when the item data types differ.
    virtual bool _restoreItems(const VectorBase& source) = 0;
    /// Takes the memory that _restoreItems of this source needs next.
    virtual void _prepareRestore(const VectorBase& source) = 0;
    /// Whether both have the same items, bit by bit.
    [[nodiscard]] virtual bool _hasIdenticalItems(const VectorBase& other) const = 0;
    /// For people: the size and the first items.
    [[nodiscard]] std::string _getText() const;
    /// What one item takes, without what it holds elsewhere.
    [[nodiscard]] virtual std::size_t _getItemBytes() const noexcept = 0;
    /// How many changes were recorded, and how many of them clearChanges() has forgotten; both only grow. The ranges
    /// are complete for a reader that has seen as many as were forgotten.
    [[nodiscard]] std::uint64_t _getChangeCount() const noexcept { return _changeCount; }
    [[nodiscard]] std::uint64_t _getForgottenChangeCount() const noexcept { return _forgottenCount; }
    /// Records that the items `first` to `last` changed; ranges that share an index become one.
    void _addChange(std::uint64_t first, std::uint64_t last);

protected:
    explicit VectorBase(const Kr::KrID& id);
    /// Makes room for one more range.
    void _prepareChange();
    /// A copy starts without incremental transfer.
    VectorBase(const VectorBase& source);

    [[nodiscard]] virtual std::string _getItemText(std::size_t index) const = 0;
    /// Records the range and tells connections and observers, once.
    void _itemsChanged(std::uint64_t first, std::uint64_t last);

private:
    void _mergeChanges() const;

    // The first _mergedCount ranges are sorted and disjoint; those behind wait to be merged, so that many changes in
    // any order cost no search and no shifting each.
    mutable ChangeRanges _changes;
    mutable std::size_t _mergedCount{0};
    std::uint64_t _changeCount{0};
    std::uint64_t _forgottenCount{0};
    bool _incrementalTransfer{false};
    bool _tracking{false};
};

}  // namespace KrData
