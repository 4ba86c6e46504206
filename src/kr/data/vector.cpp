#include "kr/data/vector.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include "kr/data/container.h"
#include "kr/data/container_access.h"
#include "kr/data/value_conversion.h"
#include "kr/platform/log.h"

namespace KrData {

namespace {

/// Replaces the items [first, last) by `count` copies of `value`.
template <class T>
void splice(std::vector<T>& items, std::size_t first, std::size_t last, std::size_t count,
            const std::type_identity_t<T>& value) {
    const auto from = items.begin() + static_cast<std::ptrdiff_t>(first);
    const auto to = items.begin() + static_cast<std::ptrdiff_t>(last);
    if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        // Enumeration values of different types refuse assignment, so items cannot be shifted, only built anew.
        std::vector<T> made;
        made.reserve(items.size() - (last - first) + count);
        made.insert(made.end(), items.begin(), from);
        made.insert(made.end(), count, value);
        made.insert(made.end(), to, items.end());
        items.swap(made);
    } else if (count != 0) {
        items.insert(from, count, value);
    } else {
        items.erase(from, to);
    }
}

/// The first item that differs, and one past the last; two equal numbers when none does.
template <class Item>
std::pair<std::size_t, std::size_t> difference(const std::vector<Item>& left, const std::vector<Item>& right) {
    const auto common = std::min(left.size(), right.size());
    std::size_t first = 0;
    while (first < common && left[first] == right[first])
        ++first;
    auto end = std::max(left.size(), right.size());
    while (left.size() == right.size() && end > first && left[end - 1] == right[end - 1])
        --end;
    return {first, end};
}

/// Items as a vector keeps them.
template <class T>
std::vector<detail::Stored<T>> stored(std::vector<T> items) {
    if constexpr (std::is_same_v<detail::Stored<T>, T>) {
        return items;
    } else {
        return {items.begin(), items.end()};
    }
}

}  // namespace

template <class T>
Vector<T>::Vector(const Kr::KrID& id, Container* parent, std::vector<T> items)
    : VectorBase(id), _items(stored(std::move(items))) {
    _attachTo(parent);
}

template <class T>
Vector<T>::Vector(const Vector& source) : VectorBase(source), _items(source._items) {}

template <class T>
Vector<T>::~Vector() {
    _detachFromEverything();
}

template <class T>
Vector<T>* Vector<T>::from(FieldBase& field) noexcept {
    return field.getDataType() == Types::kVector ? dynamic_cast<Vector*>(&field) : nullptr;
}

template <class T>
const Vector<T>* Vector<T>::from(const FieldBase& field) noexcept {
    return field.getDataType() == Types::kVector ? dynamic_cast<const Vector*>(&field) : nullptr;
}

// --- Reading -------------------------------------------------------------------------------------------------------

template <class T>
T Vector<T>::getItem(std::size_t index) const {
    return index < _items.size() ? static_cast<T>(_items[index]) : T{};
}

// --- Changing ------------------------------------------------------------------------------------------------------

template <class T>
void Vector<T>::_put(std::size_t index, const T& value) {
    if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        const T copy(value);
        std::construct_at(std::addressof(_items[index]), copy);
    } else {
        _items[index] = value;
    }
}

template <class T>
bool Vector<T>::setItem(std::size_t index, const T& value) {
    if (index >= _items.size()) return false;
    if (_items[index] == value) return true;
    _put(index, value);
    _itemsChanged(index, index);
    return true;
}

template <class T>
void Vector<T>::setItems(std::vector<T> items) {
    auto taken = stored(std::move(items));
    const auto [first, end] = difference(_items, taken);
    if (first == end) return;
    _items.swap(taken);
    _itemsChanged(first, end - 1);
}

template <class T>
void Vector<T>::append(const T& value) {
    _items.push_back(value);
    _itemsChanged(_items.size() - 1, _items.size() - 1);
}

template <class T>
bool Vector<T>::insert(std::size_t index, const T& value) {
    if (index > _items.size()) return false;
    splice(_items, index, index, 1, value);
    _itemsChanged(index, _items.size() - 1);
    return true;
}

template <class T>
bool Vector<T>::erase(std::size_t index, std::size_t count) {
    const auto before = _items.size();
    if (index > before || count > before - index) return false;
    if (count == 0) return true;
    splice(_items, index, index + count, 0, T{});
    _itemsChanged(index, before - 1);
    return true;
}

template <class T>
bool Vector<T>::resize(std::size_t count) {
    const auto before = _items.size();
    if (count == before) return true;
    try {
        _items.resize(count);
    } catch (const std::exception&) {
        return false;
    }
    _itemsChanged(std::min(before, count), std::max(before, count) - 1);
    return true;
}

// --- The field whatever its type -----------------------------------------------------------------------------------

/// Copies, and records the changes without notification. Returns whether anything changed.
template <class T>
bool Vector<T>::_copyRange(const Vector& source, std::size_t first, std::size_t last) {
    const auto common = std::min(_items.size(), source._items.size());
    auto end = last < common ? last + 1 : common;
    while (first < end && _items[first] == source._items[first])
        ++first;
    if (first >= end) return false;
    while (_items[end - 1] == source._items[end - 1])
        --end;
    for (auto i = first; i < end; ++i)
        _put(i, source._items[i]);
    _addChange(first, end - 1);
    return true;
}

template <class T>
bool Vector<T>::copyItems(const VectorBase& source, std::size_t first, std::size_t last) {
    const auto* same = from(source);
    if (same == nullptr) return false;
    if (_copyRange(*same, first, last) && _needsNotification()) _notifyChanged(*this);
    return true;
}

template <class T>
bool Vector<T>::_followItems(const VectorBase& source, const ChangeRanges& ranges) {
    const auto* same = from(source);
    if (same == nullptr) return false;
    const auto before = _items.size();
    const auto count = same->_items.size();
    if (before != count) {
        const auto first = std::min({static_cast<std::size_t>(ranges.front().first), before, count});
        _items.resize(count);
        for (auto i = first; i < count; ++i)
            _put(i, same->_items[i]);
        _itemsChanged(first, std::max(before, count) - 1);
        return true;
    }
    bool isChanged = false;
    for (const auto& [first, last] : ranges)
        isChanged = _copyRange(*same, first, last) || isChanged;
    if (isChanged && _needsNotification()) _notifyChanged(*this);
    return true;
}

template <class T>
Vector<T>* Vector<T>::_duplicate() const {
    auto* copy = new Vector(*this);
    copy->_setDynamic(true);
    return copy;
}

template <class T>
Vector<T>* Vector<T>::clone(const Kr::KrID& id, Container* parent) const {
    return detail::ContainerAccess::adoptAs(id, _duplicate(), parent);
}

template <class T>
Vector<T>* Vector<T>::clone(Container* parent) const {
    return clone(getID(), parent);
}

template <class T>
bool Vector<T>::copyValue(const FieldBase& source) {
    if (const auto* same = from(source)) {
        if (same == this) return true;
        const auto [first, end] = difference(_items, same->_items);
        if (first == end) return true;
        if constexpr (std::is_same_v<T, Kr::KrEnum>) {
            // Values of different enumerations refuse assignment.
            std::vector<Item> copy(same->_items);
            _items.swap(copy);
        } else {
            _items = same->_items;  // in the memory that it has
        }
        _itemsChanged(first, end - 1);
        return true;
    }
    if (source.getDataType() != Types::kVector && TransferValueConverter(source, *this)) return true;
    Kr::logMessage(Kr::eLogLevel::kDebug, "Vector: unable to copy value from %s to %s.\n", source.getPath().c_str(),
                   getPath().c_str());
    return false;
}

template <class T>
bool Vector<T>::isEqual(const FieldBase& other) const {
    if (other.getDataType() == Types::kProxy) return other.isEqual(*this);
    const auto* same = from(other);
    return same != nullptr && _items == same->_items;
}

template <class T>
void Vector<T>::reset() {
    clear();
}

template <class T>
void Vector<T>::_cloneFrom(const FieldBase& source) {
    if (this == &source) return;
    FieldBase::_cloneFrom(source);
    if (const auto* same = from(source)) _items = std::vector<Item>(same->_items);
}

template <class T>
bool Vector<T>::_hasIdenticalItems(const VectorBase& other) const {
    const auto* same = dynamic_cast<const Vector*>(&other);
    const auto isSame = [](const T& first, const T& second) { return isIdentical(first, second); };
    return same != nullptr &&
           std::equal(_items.begin(), _items.end(), same->_items.begin(), same->_items.end(), isSame);
}

template <class T>
void Vector<T>::_prepareRestore(const VectorBase& source) {
    const auto* same = dynamic_cast<const Vector*>(&source);
    if (same == nullptr || _hasIdenticalItems(source)) return;
    _prepareChange();
    if constexpr (kHasMemory) {
        _prepared = same->_items;
    } else {
        _items.reserve(same->_items.size());
    }
}

template <class T>
bool Vector<T>::_restoreItems(const VectorBase& source) {
    const auto* same = dynamic_cast<const Vector*>(&source);
    if (same == nullptr || _hasIdenticalItems(source)) return false;
    const auto count = std::max(_items.size(), same->_items.size());
    if constexpr (kHasMemory) {
        if (_prepared != same->_items) _prepared = same->_items;
        _items.swap(_prepared);
    } else if constexpr (std::is_same_v<T, Kr::KrEnum>) {
        // Values of different enumerations refuse assignment.
        _items.reserve(same->_items.size());
        _items.clear();
        _items.insert(_items.end(), same->_items.begin(), same->_items.end());
    } else {
        _items = same->_items;
    }
    _addChange(0, count - 1);
    return _needsNotification();
}

template <class T>
std::string Vector<T>::_getItemText(std::size_t index) const {
    return Field<T>("Item", nullptr, getItem(index)).toString();
}

#define KR_DEFINE_VECTOR(T) template class Vector<T>;
KR_FOR_EACH_VALUE_TYPE(KR_DEFINE_VECTOR)
#undef KR_DEFINE_VECTOR

}  // namespace KrData
