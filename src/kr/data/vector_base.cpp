#include "kr/data/vector_base.h"

#include <algorithm>

namespace KrData {

VectorBase::VectorBase(const Kr::KrID& id) : FieldBase(id, Types::kVector) {}
VectorBase::VectorBase(const VectorBase& source) : FieldBase(source) {}
VectorBase::~VectorBase() {
    _detachFromEverything();
}

void VectorBase::enableIncrementalDataTransfer(bool enable) {
    _incrementalTransfer = enable;
    clearChanges();
}

void VectorBase::clearChanges() {
    _changes.clear();
    _mergedCount = 0;
    if (!_tracking) ++_changeCount;  // there may have been unrecorded changes
    _forgottenCount = _changeCount;
    _tracking = _incrementalTransfer;
}

void VectorBase::_disableTracking() {
    clearChanges();
    _tracking = false;
}

const VectorBase::ChangeRanges& VectorBase::getChanges() const {
    _mergeChanges();
    return _changes;
}

void VectorBase::_addChange(std::uint64_t first, std::uint64_t last) {
    if (!isTracking()) return;
    ++_changeCount;
    if (first > last) std::swap(first, last);
    const bool merged = _mergedCount == _changes.size();
    if (!_changes.empty() && first >= _changes.back().first && first <= _changes.back().second) {
        // The usual case, the same item or the next one of a run; only the last range grows.
        _changes.back().second = std::max(_changes.back().second, last);
        return;
    }
    const bool behind = merged && (_changes.empty() || first > _changes.back().second);
    _changes.emplace_back(first, last);
    if (behind) {
        ++_mergedCount;
    } else if (_changes.size() > 2 * _mergedCount + 64) {
        _mergeChanges();
    }
}

void VectorBase::_prepareChange() {
    if (isTracking()) _changes.reserve(_changes.size() + 1);
}

void VectorBase::_mergeChanges() const {
    if (_mergedCount == _changes.size()) return;
    const auto waiting = _changes.begin() + static_cast<std::ptrdiff_t>(_mergedCount);
    std::sort(waiting, _changes.end());
    std::inplace_merge(_changes.begin(), waiting, _changes.end());
    auto kept = _changes.begin();
    for (auto each = kept + 1; each != _changes.end(); ++each) {
        if (each->first <= kept->second) {
            kept->second = std::max(kept->second, each->second);
        } else {
            *++kept = *each;
        }
    }
    _changes.erase(kept + 1, _changes.end());
    _mergedCount = _changes.size();
}

void VectorBase::_itemsChanged(std::uint64_t first, std::uint64_t last) {
    _addChange(first, last);
    if (_needsNotification()) _notifyChanged(*this);
}

std::string VectorBase::getText() const {
    constexpr std::size_t kShown = 8;
    std::string text = std::to_string(size()) + (size() == 1 ? " item" : " items");
    for (std::size_t i = 0; i < std::min(size(), kShown); ++i)
        text += (i == 0 ? ": " : ", ") + _getItemText(i);
    return text + (size() > kShown ? ", ..." : "");
}

}  // namespace KrData
