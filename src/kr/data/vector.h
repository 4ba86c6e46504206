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
/// Every operation that changes the items records the changed range and notifies once; one that changes nothing does
/// not notify. Enumeration items may be of several types.
/// Thread: application. Ownership: see FieldBase.
template <class T>
class KR_API Vector : public VectorBase {
public:
    /// With a parent the vector adds itself to it, and is owned by it from then on.
    explicit Vector(const Kr::KrID& id, Container* parent = nullptr, std::vector<T> items = {});
    /// A detached copy of identifier, properties and items; not of observers, connections and tracked changes.
    Vector(const Vector& source);
    ~Vector() override;
    Vector& operator=(const Vector&) = delete;

    /// The field as Vector<T>, or null for another class.
    [[nodiscard]] static Vector* from(FieldBase& field) noexcept;
    [[nodiscard]] static const Vector* from(const FieldBase& field) noexcept;  ///< The same for constant fields.

    // --- Reading ---------------------------------------------------------------------------------------------------
    [[nodiscard]] std::size_t size() const noexcept override { return _items.size(); }
    /// The item, or the default of T past the end.
    [[nodiscard]] T getItem(std::size_t index) const;
    /// All items; valid until the vector changes. References to extensions that have died are null.
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
    /// Replaces all items.
    void setItems(std::vector<T> items);
    void append(const T& value);  ///< At the end; throws std::bad_alloc.
    /// Before the item at `index`, at the end with size(). False past that.
    bool insert(std::size_t index, const T& value);
    /// Removes `count` items from `index` on. False, and nothing changes, when the vector has fewer.
    bool erase(std::size_t index, std::size_t count = 1);
    bool resize(std::size_t count) override;
    void reserve(std::size_t count) { _items.reserve(count); }  ///< Throws std::bad_alloc; changes no items.

    // --- The field independent of its type -------------------------------------------------------------------------
    [[nodiscard]] Types::DataTypeEnum getItemDataType() const noexcept override { return ValueTraits<T>::kDataType; }
    bool copyItems(const VectorBase& source, std::size_t first, std::size_t last) override;
    [[nodiscard]] Vector* clone(const Kr::KrID& id, Container* parent) const override;
    [[nodiscard]] Vector* clone(Container* parent) const override;
    /// From a vector of the same item type.
    bool copyValue(const FieldBase& source) override;
    [[nodiscard]] bool isEqual(const FieldBase& other) const override;
    /// Removes all items.
    void reset() override;
    void _cloneFrom(const FieldBase& source) override;

protected:
    using Item = detail::Stored<T>;

    bool _followItems(const VectorBase& source, const ChangeRanges& ranges) override;
    bool _restoreItems(const VectorBase& source) override;
    void _prepareRestore(const VectorBase& source) override;
    [[nodiscard]] bool _hasIdenticalItems(const VectorBase& other) const override;
    [[nodiscard]] std::size_t _getItemBytes() const noexcept override { return sizeof(Item); }
    [[nodiscard]] std::string _getItemText(std::size_t index) const override;
    /// For derived classes that change items under their own lock and call _itemsChanged after it.
    [[nodiscard]] std::vector<Item>& _getItems() noexcept { return _items; }
    [[nodiscard]] Vector* _duplicate() const override;

private:
    static constexpr bool kIsPlain = std::is_same_v<Item, T>;
    static constexpr bool kHasMemory = std::is_same_v<Item, std::string>;  // each item
    struct Nothing {};

    void _put(std::size_t index, const T& value);
    bool _copyRange(const Vector& source, std::size_t first, std::size_t last);

    std::vector<Item> _items;
    // The result of getItems() for items that are stored in another form.
    [[no_unique_address]] mutable std::conditional_t<kIsPlain, Nothing, std::vector<T>> _read;
    // The new items of a restore, for items that need memory each; afterwards the previous items.
    struct NoItems {};
    [[no_unique_address]] std::conditional_t<kHasMemory, std::vector<Item>, NoItems> _prepared;
};

}  // namespace KrData
