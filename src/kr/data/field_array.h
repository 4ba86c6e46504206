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
/// The array produces its items. Each has the text of its internal identifier as identifier ("1", "2" …), which does
/// not change and is not reused until the array has been empty. Items from elsewhere keep their identifier.
/// Thread: application. Ownership: owns its items.
class KR_API FieldArrayBase : public Container {
public:
    ~FieldArrayBase() override;

    // --- Size ------------------------------------------------------------------------------------------------------
    /// From now on items are added up to the maximum and removed down to the minimum; existing items are kept. False,
    /// and nothing changes, when the minimum is above the maximum.
    bool setSizeRange(std::size_t minimum, std::size_t maximum) noexcept;
    /// Allows any size; minimum and maximum are kept.
    void clearSizeRange() noexcept { _hasSizeRange = false; }
    [[nodiscard]] bool hasSizeRange() const noexcept { return _hasSizeRange; }
    /// Used only while hasSizeRange().
    [[nodiscard]] std::size_t getMinimumSize() const noexcept { return _minimumSize; }
    /// Used only while hasSizeRange().
    [[nodiscard]] std::size_t getMaximumSize() const noexcept { return _maximumSize; }
    [[nodiscard]] bool isSizeAllowed(std::size_t count) const noexcept;  ///< Always true without a size range.
    /// Appends new items, or destroys the last ones. False, and nothing changes, outside the size range.
    bool resize(std::size_t count);

    // --- Copying and comparing -------------------------------------------------------------------------------------
    [[nodiscard]] virtual const std::type_info& getItemType() const noexcept = 0;
    /// Makes the items equal to those of the array `source`, one by one and in number. Items are kept, with their
    /// observers and identifiers, if their values can be copied; others are replaced. Items of another class are
    /// converted; a vector or transform sets as many number items as it has components. False, and nothing changes,
    /// when `source` is of another kind, an item cannot be converted, or the count is outside the size range.
    bool copyValue(const FieldBase& source) override;
    bool initializeFrom(const FieldBase& source) override;
    /// Compares with another array position by position, ignoring identifiers; with a container as containers do.
    [[nodiscard]] bool isEqual(const FieldBase& other) const override;

    void _cloneFrom(const FieldBase& source) override;
    /// A new item as the array makes them, owned by the caller: it has the ranges that the class of the items sets.
    [[nodiscard]] std::unique_ptr<FieldBase> makeSampleItem() const {
        return std::unique_ptr<FieldBase>(_makeItem({}));
    }

protected:
    FieldArrayBase(const Kr::KrID& id, Types::FieldTypeEnum fieldType);

    [[nodiscard]] bool _mayRemove(std::size_t count) const override;
    /// A new item, without parent.
    [[nodiscard]] virtual FieldBase* _makeItem(const Kr::KrID& id) const = 0;
    [[nodiscard]] virtual bool _isItem(const FieldBase& field) const = 0;
    /// Null past the end and above the maximum.
    FieldBase* _insertItem(std::size_t index);
    /// Removes an item and marks it dynamic; the caller owns it. Null past the end and at the minimum.
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
/// A class of items has a constructor with an identifier only and returns its own class from `_duplicate()`; otherwise
/// copies are created and get the values of the children that both have.
/// Thread: application. Ownership: the array owns its items; remove() gives one to the caller.
template <class Item>
class FieldArray : public FieldArrayBase {
public:
    /// With a parent the array adds itself to it, and is owned by it from then on.
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
    /// As copyValue.
    FieldArray& operator=(const FieldArray& source) {
        copyValue(source);
        return *this;
    }

    using Container::insert;
    /// A new item at the end. Null when the maximum is reached.
    Item* append() { return static_cast<Item*>(_insertItem(size())); }
    /// A new item before the one at `index`; at the end with size(). Null past that and when the maximum is reached.
    Item* insert(std::size_t index) { return static_cast<Item*>(_insertItem(index)); }
    /// Null past the end. Valid until the item is removed.
    [[nodiscard]] Item* item(std::size_t index) noexcept {
        return index < size() ? static_cast<Item*>(getChildren()[index]) : nullptr;
    }
    [[nodiscard]] const Item* item(std::size_t index) const noexcept {
        return index < size() ? static_cast<const Item*>(getChildren()[index]) : nullptr;
    }
    /// Removes the item, which is dynamic then. Empty past the end and when the size would fall below the minimum.
    std::unique_ptr<Item> remove(std::size_t index) {
        return std::unique_ptr<Item>(static_cast<Item*>(_takeItem(index)));
    }

    [[nodiscard]] const std::type_info& getItemType() const noexcept override { return typeid(Item); }
    [[nodiscard]] FieldArray* clone(const Kr::KrID& id, Container* parent) const override {
        return _adoptAs(id, _duplicate(), parent);
    }
    [[nodiscard]] FieldArray* clone(Container* parent) const override { return clone(getID(), parent); }

protected:
    [[nodiscard]] FieldArray* _duplicate() const override {
        auto* copy = new FieldArray(*this);
        copy->_setDynamic(true);
        return copy;
    }
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
