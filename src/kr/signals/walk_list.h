#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

namespace Kr {

/// For items that do not store their place in a list.
struct IgnoreMove {
    template <class Item>
    void operator()(const Item&, std::size_t) const noexcept {}
};

/// Items in the order of their addition, which may be added and removed during walks. A removed item leaves an empty
/// place, so that walks keep their position; places close up when no walk is in progress and at least half of them are
/// empty. Removal allocates nothing. The list may be destroyed during walks, which end then.
/// Thread: one at a time. Ownership: as the items: a plain pointer is borrowed, a counted one shared.
///
/// \tparam Item    a pointer, plain or counted, or a class like one: a default one is empty and tests as false.
/// \tparam OnMove  called with an item and its new place when places close up.
template <class Item, class OnMove = IgnoreMove>
class WalkList {
public:
    class Walk;

    WalkList() = default;
    explicit WalkList(OnMove onMove) noexcept : _onMove(onMove) {}
    /// Takes over the items; walks of the other list end.
    WalkList(WalkList&& other) noexcept
        : _items(std::exchange(other._items, {})),
          _size(std::exchange(other._size, 0)),
          _head(std::exchange(other._head, 0)),
          _onMove(other._onMove) {
        other._endWalks();
    }
    WalkList& operator=(WalkList&&) = delete;
    ~WalkList() { _endWalks(); }

    /// Returns the place of the new item.
    std::size_t add(Item item) {
        _items.push_back(std::move(item));
        ++_size;
        return _items.size() - 1;
    }
    /// Whether it was listed.
    bool remove(const Item& item) noexcept {
        if (!item) return false;
        const auto found = std::find(_items.begin(), _items.end(), item);
        if (found == _items.end()) return false;
        removeAt(static_cast<std::size_t>(found - _items.begin()));
        return true;
    }
    void removeAt(std::size_t place) noexcept {
        // Destroyed last, when the list is whole again.
        [[maybe_unused]] const Item removed = std::exchange(_items[place], Item());
        --_size;
        _closeUp();
    }
    template <class Condition>
    void removeIf(const Condition& condition) noexcept {
        const Walk walk(*this);  // places do not change
        for (std::size_t place = 0; place < _items.size(); ++place) {
            if (_items[place] && condition(std::as_const(_items[place]))) removeAt(place);
        }
    }
    /// The place must contain an item.
    [[nodiscard]] Item& operator[](std::size_t place) noexcept { return _items[place]; }
    [[nodiscard]] std::size_t size() const noexcept { return _size; }
    [[nodiscard]] bool empty() const noexcept { return _size == 0; }
    /// Some of the places may be empty.
    [[nodiscard]] const std::vector<Item>& places() const noexcept { return _items; }
    /// The oldest item; empty when there is none. Amortised constant time while items leave from the front.
    [[nodiscard]] Item first() noexcept {
        while (_head < _items.size() && !_items[_head])
            ++_head;
        return _head < _items.size() ? _items[_head] : Item();
    }
    [[nodiscard]] std::vector<Item> items() const {
        std::vector<Item> items;
        items.reserve(_size);
        std::copy_if(_items.begin(), _items.end(), std::back_inserter(items),
                     [](const Item& each) { return static_cast<bool>(each); });
        return items;
    }

private:
    void _endWalks() noexcept {
        for (auto* walk = std::exchange(_innermost, nullptr); walk != nullptr; walk = walk->_outer)
            walk->_list = nullptr;
    }
    void _closeUp() noexcept {
        if (_innermost != nullptr || _size * 2 > _items.size() || _size == _items.size()) return;
        std::size_t used = 0;
        for (auto& item : _items) {
            if (!item) continue;
            _onMove(item, used);
            if (auto& place = _items[used++]; &place != &item) place = std::exchange(item, Item());
        }
        _items.resize(used);
        _head = 0;
    }

    std::vector<Item> _items;
    std::size_t _size{0};
    std::size_t _head{0};  // there is no item before this place
    Walk* _innermost{nullptr};
    [[no_unique_address]] OnMove _onMove;
};

/// A walk over the items that are listed when it begins; items removed before their turn are skipped. On the stack.
template <class Item, class OnMove>
class WalkList<Item, OnMove>::Walk {
public:
    explicit Walk(WalkList& list) noexcept
        : _list(&list), _outer(std::exchange(list._innermost, this)), _end(list._items.size()) {}
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    ~Walk() {
        if (_list == nullptr) return;
        _list->_innermost = _outer;
        _list->_closeUp();
    }

    /// Empty at the end, and after the list has died.
    [[nodiscard]] Item next() noexcept {
        while (_list != nullptr && _place < _end) {
            if (const Item& item = _list->_items[_place++]) return item;
        }
        return Item();
    }

private:
    friend class WalkList;

    WalkList* _list;  // null after it has died
    Walk* _outer;
    std::size_t _place{0};
    std::size_t _end;
};

}  // namespace Kr
