#include "kr/data/field_array.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string>

#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/internal/array_conversion.h"
#include "kr/data/internal/child_pairs.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/data/value_conversion.h"
#include "kr/platform/log.h"

namespace KrData {

namespace {

/// Copies the value of `source` into `own`, down to the last child; false where that leaves a difference.
bool copyWhole(FieldBase& own, const FieldBase& source, bool withMetadata) {
    if (!detail::areSameKind(own, source)) return false;
    if (own.getDataType() != Types::kContainer || own.isFieldArray()) {
        return withMetadata ? own.initializeFrom(source) : own.copyValue(source);
    }
    auto& container = static_cast<Container&>(own);
    if (container.size() != source.getChildren().size()) return false;
    const detail::NotificationFrame frame(own, source);
    detail::ChildPairs pairs(container.getChildren(), source.getChildren());
    // By index: an observer may change the list.
    for (std::size_t i = 0; i < container.size(); ++i) {  // NOLINT(modernize-loop-convert)
        auto& child = container.at(i);
        const auto* from = pairs.find(i);
        if (from == nullptr || !copyWhole(child, *from, withMetadata)) return false;
        if (frame.fieldDied() || frame.changedDied()) return false;
    }
    if (withMetadata) detail::FieldAccess::replaceInternal(own, detail::FieldAccess::getInternalIfAny(source));
    return true;
}

}  // namespace

FieldArrayBase::FieldArrayBase(const Kr::KrID& id, Types::FieldTypeEnum fieldType)
    : Container(Detached{}, id, fieldType) {}

FieldArrayBase::~FieldArrayBase() {
    _detachFromEverything();
}

bool FieldArrayBase::_isFieldArray() const noexcept {
    return true;
}

// --- Size ----------------------------------------------------------------------------------------------------------

bool FieldArrayBase::setSizeRange(std::size_t minimum, std::size_t maximum) noexcept {
    if (minimum > maximum) return false;
    _minimumSize = minimum;
    _maximumSize = maximum;
    _hasSizeRange = true;
    return true;
}

bool FieldArrayBase::isSizeAllowed(std::size_t count) const noexcept {
    return !_hasSizeRange || (count >= _minimumSize && count <= _maximumSize);
}

bool FieldArrayBase::_mayRemove(std::size_t count) const {
    return !_hasSizeRange || (count <= size() && size() - count >= _minimumSize);
}

bool FieldArrayBase::_accepts(const FieldBase& field) const {
    return (!_hasSizeRange || size() < _maximumSize) && _isItem(field);
}

bool FieldArrayBase::resize(std::size_t count) {
    // More items than internal identifiers cannot be.
    if (!isSizeAllowed(count) || count > std::numeric_limits<std::uint32_t>::max() - 1) return false;
    const detail::NotificationFrame frame(*this, *this);
    // A bounded number of steps: observers may add and remove items on their own.
    for (auto surplus = size(); surplus > count; --surplus) {
        if (size() <= count) break;
        auto* last = getChildren().back();
        _removeField(last);
        delete last;
        if (frame.fieldDied()) return false;
    }
    for (auto present = size(); present < count; ++present) {
        if (size() >= count) break;
        _insertItem(size());
        if (frame.fieldDied()) return false;
    }
    return size() == count;
}

FieldBase* FieldArrayBase::_insertItem(std::size_t index) {
    if (index > size() || (_hasSizeRange && size() >= _maximumSize)) return nullptr;
    _restartInternalIdentifiers();
    std::unique_ptr<FieldBase> made(
        _makeItem(Kr::KrID(std::to_string(detail::ContainerAccess::getNextInternalIdentifier(*this)))));
    auto* item = made.get();
    item->_setDynamic(true);
    const detail::NotificationFrame frame(*item, *item);
    if (!_addField(item, begin() + static_cast<std::ptrdiff_t>(index))) return nullptr;
    static_cast<void>(made.release());
    return frame.fieldDied() ? nullptr : item;
}

FieldBase* FieldArrayBase::_takeItem(std::size_t index) {
    if (index >= size() || !_mayRemove(1)) return nullptr;
    auto* item = getChildren()[index];
    item->_setDynamic(true);
    _removeField(item);
    return item;
}

// --- Copying and comparing -----------------------------------------------------------------------------------------

bool FieldArrayBase::copyValue(const FieldBase& source) {
    return _assign(source, false);
}

bool FieldArrayBase::initializeFrom(const FieldBase& source) {
    return _assign(source, true);
}

bool FieldArrayBase::_refuse(const FieldBase& source) const {
    Kr::logMessage(Kr::eLogLevel::kDebug, "Container: unable to copy value from %s to %s.\n", source.getPath().c_str(),
                   getPath().c_str());
    return false;
}

bool FieldArrayBase::_convertItems(const FieldBase& source, bool withMetadata, Converted& converted) const {
    for (const auto* from : source.getChildren()) {
        auto& item = converted.emplace_back(_makeItem(from->getID()));
        if (!from->canConvertTo(*item) || !(withMetadata ? item->initializeFrom(*from) : item->copyValue(*from))) {
            return false;
        }
    }
    return true;
}

bool FieldArrayBase::_assign(const FieldBase& source, bool withMetadata) {
    if (this == &source) return true;
    const detail::NotificationFrame frame(*this, source);
    const auto count = source.getChildren().size();
    Converted converted;
    if (!source.isFieldArray()) {
        if (source.getDataType() == Types::kContainer)
            return withMetadata ? Container::initializeFrom(source) : Container::copyValue(source);
        if (!TransferValueConverter(source, *this)) return !frame.fieldDied() && _refuse(source);
        if (withMetadata && !frame.changedDied())
            detail::FieldAccess::replaceInternal(*this, detail::FieldAccess::getInternalIfAny(source));
        return true;
    }
    if (!isSizeAllowed(count)) return _refuse(source);
    const bool isOther = !detail::areSameKind(*this, source);
    if (isOther && !_convertItems(source, withMetadata, converted)) return _refuse(source);
    if (!resize(count) || frame.changedDied()) return false;
    for (std::size_t i = 0; i < size() && i < source.getChildren().size() && i < count; ++i) {
        _assignItem(i, isOther ? *converted[i] : *source.getChildren()[i], withMetadata);
        if (frame.fieldDied() || frame.changedDied()) return false;
    }
    if (withMetadata) detail::FieldAccess::replaceInternal(*this, detail::FieldAccess::getInternalIfAny(source));
    return size() == count;
}

void FieldArrayBase::_assignItem(std::size_t index, const FieldBase& source, bool withMetadata) {
    auto* own = getChildren()[index];
    const detail::NotificationFrame arrayFrame(*this, source);
    const detail::NotificationFrame itemFrame(*own, *own);
    if (copyWhole(*own, source, withMetadata)) return;
    if (arrayFrame.fieldDied() || arrayFrame.changedDied() || itemFrame.fieldDied() || own->getParent() != this) return;
    auto* copy = _duplicateChild(source);
    if (copy == nullptr) return;
    copy->setID(own->getID());
    detail::FieldAccess::setInternalIdentifier(*copy, own->getInternalIdentifier());
    _removeField(own);
    delete own;
    if (arrayFrame.fieldDied() || !detail::ContainerAccess::addNumberedField(
                                      *this, copy, begin() + static_cast<std::ptrdiff_t>(std::min(index, size())))) {
        delete copy;
    }
}

bool FieldArrayBase::isEqual(const FieldBase& other) const {
    if (!other.isFieldArray()) return Container::isEqual(other);
    if (this == &other) return true;
    const auto& array = static_cast<const FieldArrayBase&>(other);
    return getItemType() == array.getItemType() &&
           std::equal(begin(), end(), array.begin(), array.end(),
                      [](const FieldBase* mine, const FieldBase* theirs) { return mine->isEqual(*theirs); });
}

FieldBase* FieldArrayBase::_duplicateChild(const FieldBase& child) const {
    auto* copy = detail::FieldAccess::duplicate(child);
    if (copy != nullptr && _isItem(*copy)) return copy;
    delete copy;
    auto* made = _makeItem(child.getID());
    made->FieldBase::_cloneFrom(child);
    made->initializeFrom(child);
    return made;
}

void FieldArrayBase::_cloneFrom(const FieldBase& source) {
    if (this == &source) return;
    if (!source.isFieldArray() || static_cast<const FieldArrayBase&>(source).getItemType() != getItemType()) {
        FieldBase::_cloneFrom(source);  // NOLINT(bugprone-parent-virtual-call): the items stay
        return;
    }
    const auto& array = static_cast<const FieldArrayBase&>(source);
    _minimumSize = array._minimumSize;
    _maximumSize = array._maximumSize;
    _hasSizeRange = array._hasSizeRange;
    Container::_cloneFrom(source);
}

}  // namespace KrData
