#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "kr/data/extension_pointer.h"
#include "kr/data/value_traits.h"
#include "kr/data/vector_base.h"

namespace KrData {

/// A vector of values of type T, one of the value types of Types::DataTypeEnum.
///
/// Every operation that changes the items records the changed range and notifies once; one that changes nothing
/// does not notify. Enumeration items need not be of one type.
template <class T>
class KR_API Vector : public VectorBase {
public:
    /// With a parent the vector adds itself to it, and then belongs to it.
    explicit Vector(const Kr::KrID& id, Container* parent = nullptr, std::vector<T> items = {});
    /// A detached copy of identifier, properties and items; not of observers, connections and tracked changes.
    Vector(const Vector& source);
    ~Vector() override;
    Vector& operator=(const Vector&) = delete;

    /// The field as Vector<T>, or null when it is something else.
    [[nodiscard]] static Vector* from(FieldBase& field) noexcept;
    [[nodiscard]] static const Vector* from(const FieldBase& field) noexcept;

    // --- Reading ---------------------------------------------------------------------------------------------------
    [[nodiscard]] std::size_t size() const noexcept override { return _items.size(); }
    /// The item, or T's default past the end.
    [[nodiscard]] T getItem(std::size_t index) const;
    /// All items; good until the vector changes. References to extensions that have died are null.
    [[nodiscard]] const std::vector<T>& getItems() const noexcept(kIsPlain) {
        if constexpr (kIsPlain) {
            return _items;
        } else {
            _read.assign(_items.begin(), _items.end());
            return _read;
        }
    }
    template <class U = T, class = std::enable_if_t<!std::is_same_v<U, bool>>>
    [[nodiscard]] std::span<const U> span() const noexcept(kIsPlain) {
        return getItems();
    }

    // --- Changing --------------------------------------------------------------------------------------------------
    /// False past the end.
    bool setItem(std::size_t index, const T& value);
    void setItems(std::vector<T> items);
    void append(const T& value);
    /// Before the item at `index`, at the end with size(). False past that.
    bool insert(std::size_t index, const T& value);
    /// Drops `count` items from `index` on. False, and nothing changes, when the vector does not have them all.
    bool erase(std::size_t index, std::size_t count = 1);
    bool resize(std::size_t count) override;
    void reserve(std::size_t count) { _items.reserve(count); }

    // --- The field whatever its type -------------------------------------------------------------------------------
    [[nodiscard]] Types::DataTypeEnum getItemDataType() const noexcept override { return ValueTraits<T>::kDataType; }
    bool copyItems(const VectorBase& source, std::size_t first, std::size_t last) override;
    [[nodiscard]] Vector* _duplicate() const override;
    [[nodiscard]] Vector* clone(const Kr::KrID& id, Container* parent) const override;
    [[nodiscard]] Vector* clone(Container* parent) const override;
    /// From a vector of the same item type.
    bool copyValue(const FieldBase& source) override;
    [[nodiscard]] bool isEqual(const FieldBase& other) const override;
    /// Drops all items.
    void reset() override;
    void _cloneFrom(const FieldBase& source) override;
    bool _followItems(const VectorBase& source, const ChangeRanges& ranges) override;
    bool _restoreItems(const VectorBase& source) override;
    void _prepareRestore(const VectorBase& source) override;
    [[nodiscard]] bool _hasIdenticalItems(const VectorBase& other) const override;
    [[nodiscard]] std::size_t _getItemBytes() const noexcept override { return sizeof(Item); }

protected:
    using Item = detail::Stored<T>;

    [[nodiscard]] std::string _getItemText(std::size_t index) const override;
    /// For subclasses that change items under a lock of their own and call _itemsChanged after it.
    [[nodiscard]] std::vector<Item>& _getItems() noexcept { return _items; }

private:
    static constexpr bool kIsPlain = std::is_same_v<Item, T>;
    static constexpr bool kHasMemory = std::is_same_v<Item, std::string>;  // each item
    struct Nothing {};

    void _put(std::size_t index, const T& value);
    bool _copyRange(const Vector& source, std::size_t first, std::size_t last);

    std::vector<Item> _items;
    // What getItems() answers, where items are kept as something else.
    [[no_unique_address]] mutable std::conditional_t<kIsPlain, Nothing, std::vector<T>> _read;
    // What a restore swaps in, where each item needs memory; afterwards the items before.
    struct NoItems {};
    [[no_unique_address]] std::conditional_t<kHasMemory, std::vector<Item>, NoItems> _prepared;
};

}  // namespace KrData
