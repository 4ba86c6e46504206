#pragma once

#include <cstddef>
#include <initializer_list>
#include <utility>
#include <vector>

namespace Kr {

/// Ordered list of values, returned by many functions of the framework. Growth, iteration and lifetime of references
/// are those of std::vector.
/// Thread: value. Ownership: value.
template <class T>
class KrArray {
public:
    using value_type = T;
    using size_type = std::size_t;
    using iterator = typename std::vector<T>::iterator;
    using const_iterator = typename std::vector<T>::const_iterator;

    KrArray() = default;
    KrArray(std::initializer_list<T> items) : _items(items) {}
    explicit KrArray(std::vector<T> items) noexcept : _items(std::move(items)) {}

    [[nodiscard]] std::size_t size() const noexcept { return _items.size(); }
    [[nodiscard]] bool isEmpty() const noexcept { return _items.empty(); }
    decltype(auto) operator[](std::size_t index) { return _items[index]; }
    /// index must be below size(); not checked.
    decltype(auto) operator[](std::size_t index) const { return _items[index]; }
    [[nodiscard]] bool contains(const T& item) const { return _find(item) < size(); }

    void reserve(std::size_t count) { _items.reserve(count); }
    void append(T item) { _items.push_back(std::move(item)); }
    /// other may be this array.
    void append(const KrArray& other) {
        reserve(size() + other.size());
        for (std::size_t index = 0, count = other.size(); index < count; ++index)
            append(T(other[index]));
    }
    void push_back(T item) { append(std::move(item)); }

    /// Removes one item and keeps the order of the others; false when the index is outside.
    bool erase(std::size_t index) {
        if (index >= size()) return false;
        _items.erase(_items.begin() + static_cast<std::ptrdiff_t>(index));
        return true;
    }
    /// Removes the first item that equals this one; false when there is none.
    bool remove(const T& item) { return erase(_find(item)); }
    void clear() noexcept { _items.clear(); }

    iterator begin() noexcept { return _items.begin(); }
    iterator end() noexcept { return _items.end(); }
    const_iterator begin() const noexcept { return _items.begin(); }
    const_iterator end() const noexcept { return _items.end(); }

    bool operator==(const KrArray&) const = default;

private:
    /// The index of the first item that equals this one; size() when there is none.
    [[nodiscard]] std::size_t _find(const T& item) const {
        std::size_t index = 0;
        while (index < size() && !(_items[index] == item))
            ++index;
        return index;
    }

    std::vector<T> _items;
};

}  // namespace Kr
