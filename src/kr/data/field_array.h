#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "kr/data/container.h"

namespace KrData {

/// A container whose children are items of one class; FieldArray<Item> names the class.
///
/// The array produces its items. Each is identified by the text of its internal identifier ("1", "2" …), which stays
/// with it for its life and is not used twice until the array has been empty. Items that come from elsewhere keep
/// their identifier.
class KR_API FieldArrayBase : public Container {
public:
    ~FieldArrayBase() override;

    // --- Size ------------------------------------------------------------------------------------------------------
    /// From now on items are added up to the maximum and removed down to the minimum; those that are there stay.
    /// False, and nothing changes, when the minimum is above the maximum.
    bool setSizeRange(std::size_t minimum, std::size_t maximum) noexcept;
    /// Any size goes; minimum and maximum are kept.
    void clearSizeRange() noexcept { _hasSizeRange = false; }
    [[nodiscard]] bool hasSizeRange() const noexcept { return _hasSizeRange; }
    [[nodiscard]] std::size_t getMinimumSize() const noexcept { return _minimumSize; }
    [[nodiscard]] std::size_t getMaximumSize() const noexcept { return _maximumSize; }
    [[nodiscard]] bool isSizeAllowed(std::size_t count) const noexcept;
    /// Adds new items at the end, or destroys the last ones. False, and nothing changes, outside the size range.
    bool resize(std::size_t count);

    // --- Copying and comparing -------------------------------------------------------------------------------------
    [[nodiscard]] virtual const std::type_info& getItemType() const noexcept = 0;
    /// Makes as many items as the array `source` has, equal to its items one by one. Items stay, with their observers
    /// and identifiers, as far as their values can be copied; the others are replaced. Items of another class are
    /// converted; a vector or transform sets as many number items as it has components. False, and nothing changes,
    /// when `source` is something else, an item cannot be converted, or the count is outside the size range.
    bool copyValue(const FieldBase& source) override;
    bool initializeFrom(const FieldBase& source) override;
    /// With another array position by position, whatever the identifiers; with a container as containers compare.
    [[nodiscard]] bool isEqual(const FieldBase& other) const override;

    /// Whether a copied value leaves no difference of kind: equal data types and, for arrays, equal item classes.
    [[nodiscard]] static bool _areSameKind(const FieldBase& first, const FieldBase& second);
    [[nodiscard]] bool _mayRemove(std::size_t count) const override;
    void _cloneFrom(const FieldBase& source) override;
    /// An item as the array makes them, which belongs to the caller: it has the ranges that the class of the items
    /// gives.
    [[nodiscard]] std::unique_ptr<FieldBase> makeSampleItem() const {
        return std::unique_ptr<FieldBase>(_makeItem({}));
    }

protected:
    FieldArrayBase(const Kr::KrID& id, Types::FieldTypeEnum fieldType);

    /// A new item, without parent.
    [[nodiscard]] virtual FieldBase* _makeItem(const Kr::KrID& id) const = 0;
    [[nodiscard]] virtual bool _isItem(const FieldBase& field) const = 0;
    /// Null past the end and above the maximum.
    FieldBase* _insertItem(std::size_t index);
    /// Takes an item out and marks it dynamic; the caller owns it. Null past the end and below the minimum.
    [[nodiscard]] FieldBase* _takeItem(std::size_t index);
    [[nodiscard]] bool _accepts(const FieldBase& field) const override;
    [[nodiscard]] FieldBase* _duplicateChild(const FieldBase& child) const override;
    [[nodiscard]] bool _isFieldArray() const noexcept override;

private:
    using Converted = std::vector<std::unique_ptr<FieldBase>>;

    bool _assign(const FieldBase& source, bool withMetadata);
    [[nodiscard]] bool _convertItems(const FieldBase& source, bool withMetadata, Converted& converted) const;
    bool _refuse(const FieldBase& source) const;
    void _assignItem(std::size_t index, const FieldBase& source, bool withMetadata);

    std::size_t _minimumSize{0};
    std::size_t _maximumSize{0};
    bool _hasSizeRange{false};
};

/// An array of items of one class: `FieldArray<Field<double>>`, or of a subclass of Container.
///
/// A class of items can be made from an identifier alone and answers its own class to `_duplicate()`; where it does
/// not, copies are made anew and get the values of the children that both have.
/// Ownership: the array owns its items; remove() hands one out.
template <class Item>
class FieldArray : public FieldArrayBase {
public:
    /// With a parent the array adds itself to it, and then belongs to it.
    explicit FieldArray(const Kr::KrID& id, Container* parent = nullptr, Types::FieldTypeEnum fieldType = Types::kField)
        : FieldArrayBase(id, fieldType) {
        _attachTo(parent);
    }
    /// A detached deep copy, size range included.
    FieldArray(const FieldArray& source) : FieldArrayBase(source.getID(), source.getFieldType()) {
        FieldArray::_cloneFrom(source);
        _setDynamic(false);
    }
    ~FieldArray() override { _detachFromEverything(); }
    /// copyValue
    FieldArray& operator=(const FieldArray& source) {
        copyValue(source);
        return *this;
    }

    using Container::insert;
    /// A new item at the end. Null when the maximum is reached.
    Item* append() { return static_cast<Item*>(_insertItem(size())); }
    /// A new item before the one at `index`; at the end with size(). Null past that and when the maximum is reached.
    Item* insert(std::size_t index) { return static_cast<Item*>(_insertItem(index)); }
    /// Null past the end. Good until the item is removed.
    [[nodiscard]] Item* item(std::size_t index) noexcept {
        return index < size() ? static_cast<Item*>(getChildren()[index]) : nullptr;
    }
    [[nodiscard]] const Item* item(std::size_t index) const noexcept {
        return index < size() ? static_cast<const Item*>(getChildren()[index]) : nullptr;
    }
    /// Takes the item out, dynamic now. Empty past the end and when the size would fall below the minimum.
    std::unique_ptr<Item> remove(std::size_t index) {
        return std::unique_ptr<Item>(static_cast<Item*>(_takeItem(index)));
    }

    [[nodiscard]] const std::type_info& getItemType() const noexcept override { return typeid(Item); }
    [[nodiscard]] FieldArray* _duplicate() const override {
        auto* copy = new FieldArray(*this);
        copy->_setDynamic(true);
        return copy;
    }
    [[nodiscard]] FieldArray* clone(const Kr::KrID& id, Container* parent) const override {
        return _adoptAs(id, _duplicate(), parent);
    }
    [[nodiscard]] FieldArray* clone(Container* parent) const override { return clone(getID(), parent); }

protected:
    [[nodiscard]] FieldBase* _makeItem(const Kr::KrID& id) const override {
        constexpr bool takesFieldType =
            std::is_base_of_v<Container, Item> &&
            std::is_constructible_v<Item, const Kr::KrID&, Container*, Types::FieldTypeEnum>;
        if constexpr (takesFieldType) {
            return new Item(id, nullptr, getFieldType());
        } else {
            return new Item(id);
        }
    }
    [[nodiscard]] bool _isItem(const FieldBase& field) const override {
        return dynamic_cast<const Item*>(&field) != nullptr;
    }
};

}  // namespace KrData
