#include "kr/application/modules/internal/managed_list.h"

#include <algorithm>
#include <new>

namespace KrSim::detail {

namespace {

/// An index costs about as much as so many searches.
constexpr std::size_t kTakesWithoutIndex = 64;

}  // namespace

const ManagedList::Extensions& ManagedList::items() {
    _closeGaps();
    return _items;
}

ManagedList::Extensions& ManagedList::edit() {
    _closeGaps();
    _forgetPlaces();
    return _items;
}

void ManagedList::append(Holder extension) {
    if (_gaps.capacity() <= _items.size()) _gaps.reserve(2 * _items.size() + 2);  // taking allocates nothing
    _items.append(std::move(extension));
    _forgetPlaces();
}

ManagedList::Extensions ManagedList::takeAll() {
    return std::exchange(edit(), {});
}

bool ManagedList::contains(const KrExtension* extension) {
    return _find(extension).has_value();
}

std::optional<ManagedList::Holder> ManagedList::take(const KrExtension* extension) {
    if (_places.empty() && ++_takesInARow > kTakesWithoutIndex) _indexPlaces();
    const auto place = _find(extension);
    if (!place) return std::nullopt;
    std::optional<Holder> taken(std::move(_items[*place]));
    _gaps.push_back(*place);
    if (_places.empty()) _closeGaps();
    return taken;
}

std::optional<std::uint32_t> ManagedList::_find(const KrExtension* extension) {
    if (extension == nullptr) _closeGaps();  // which are null, too
    if (extension == nullptr || _places.empty()) {
        const auto found =
            std::find_if(_items.begin(), _items.end(), [&](const Holder& each) { return each.get() == extension; });
        if (found == _items.end()) return std::nullopt;
        return static_cast<std::uint32_t>(found - _items.begin());
    }
    auto found = std::lower_bound(_places.begin(), _places.end(), Place(extension, 0));
    while (found != _places.end() && found->first == extension && !_items[found->second])
        ++found;  // taken before
    if (found == _places.end() || found->first != extension) return std::nullopt;
    return found->second;
}

void ManagedList::_closeGaps() {
    if (_gaps.empty()) return;
    std::sort(_gaps.begin(), _gaps.end());
    auto gap = _gaps.begin();
    std::uint32_t end = *gap;
    for (auto place = end; place < _items.size(); ++place) {
        if (gap != _gaps.end() && *gap == place) {
            ++gap;
        } else {
            _items[end++] = std::move(_items[place]);
        }
    }
    while (_items.size() > end)
        _items.erase(_items.size() - 1);
    _gaps.clear();
    if (!_places.empty()) _forgetPlaces();
}

void ManagedList::_forgetPlaces() {
    _places.clear();
    _takesInARow = 0;
}

void ManagedList::_indexPlaces() noexcept {
    try {
        _places.reserve(_items.size());
    } catch (const std::bad_alloc&) {
        return;  // each is searched for then
    }
    for (std::uint32_t place = 0; place < _items.size(); ++place) {
        if (_items[place]) _places.emplace_back(_items[place].get(), place);
    }
    std::sort(_places.begin(), _places.end());
}

}  // namespace KrSim::detail
