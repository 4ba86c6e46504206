#include "kr/data/container.h"

#include <algorithm>
#include <memory>
#include <unordered_set>
#include <utility>

#include "kr/data/field_access.h"
#include "kr/data/field_visitor.h"
#include "kr/data/internal/child_pairs.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/data/internal/tree_mutex.h"
#include "kr/data/value_conversion.h"
#include "kr/platform/log.h"
#include "kr/platform/unique_names.h"

namespace KrData {

namespace {
/// Never given to a child, so that the next number never wraps to 0.
constexpr std::uint32_t kLastInternalIdentifier = 0xffffffff;
}  // namespace

Container::Container(const Kr::KrID& id, Container* parent, Types::FieldTypeEnum fieldType)
    : FieldBase(id, Types::kContainer), _fieldType(fieldType) {
    _attachTo(parent);
}

Container::Container(Detached, const Kr::KrID& id, Types::FieldTypeEnum fieldType)
    : FieldBase(id, Types::kContainer), _fieldType(fieldType) {}

Container::Container(const Container& source) : FieldBase(source), _fieldType(source._fieldType) {
    // One child at a time, so that each copy is taken while it is in the cache.
    _children.reserve(source.size());
    try {
        for (const auto* child : source._children) {
            if (auto* copy = _duplicateChild(*child)) _takeCopy(copy);
        }
    } catch (...) {
        _destroyChildren();
        throw;
    }
}

Container::~Container() {
    _detachFromEverything();
    _destroyChildren();
}

// --- Adding and removing -------------------------------------------------------------------------------------------

FieldBase* Container::addField(const Kr::KrID& id, Types::DataTypeEnum dataType) {
    return Types::produce(dataType, id, this);
}

FieldBase* Container::addExtensionField(const Kr::KrID& id, const Kr::KrID& interfaceId) {
    return Types::produceExtensionField(id, interfaceId, this);
}

Container* Container::addContainer(const Kr::KrID& id) {
    return static_cast<Container*>(addField(id, Types::kContainer));
}

Container::iterator Container::insert(iterator position, const Kr::KrID& id, Types::DataTypeEnum dataType) {
    return _placed(Types::_make(dataType, id, _fieldType), position);
}

Container::iterator Container::insert(iterator position, const Kr::KrID& id, const std::type_info& valueType) {
    return _placed(Types::_make(Types::mapType(valueType), id, _fieldType), position);
}

Container::iterator Container::insertExtensionField(iterator position, const Kr::KrID& id,
                                                    const Kr::KrID& interfaceId) {
    return _placed(Types::produceExtensionField(id, interfaceId, nullptr), position);
}

Container::iterator Container::_placed(FieldBase* field, iterator position) {
    if (field == nullptr) return end();
    const detail::NotificationFrame frame(*this, *field);
    const auto index = static_cast<std::size_t>(position - begin());
    if (!_addField(field, position)) {
        delete field;
        return end();
    }
    if (frame.fieldDied()) return {};
    if (frame.changedDied()) return end();
    // Observers may have moved it.
    const bool isInPlace = index < size() && _children[index] == field;
    return isInPlace ? begin() + static_cast<std::ptrdiff_t>(index) : std::find(begin(), end(), field);
}

bool Container::removeField(const Kr::KrID& id) {
    const auto position = _findOwn(id);
    if (position == end() || !_mayRemove(1)) return false;
    erase(position);
    return true;
}

Container::iterator Container::erase(iterator position) {
    if (position == end() || !_mayRemove(1)) return position;
    const auto index = static_cast<std::size_t>(position - begin());
    auto* field = *position;
    const detail::NotificationFrame frame(*this, *this);
    _removeField(field);
    delete field;
    if (frame.fieldDied()) return {};
    return begin() + static_cast<std::ptrdiff_t>(std::min(index, size()));
}

void Container::clear() {
    if (empty() || !_mayRemove(size())) return;
    const detail::NotificationFrame frame(*this, *this);
    _destroyChildren();
    if (!frame.fieldDied() && _has(kHasObservers | kAncestorObserved)) _notifyLater(*this);
}

void Container::_destroyChildren() {
    const detail::NotificationFrame frame(*this, *this);
    {
        const std::lock_guard lock(detail::treeMutex());
        _lookup.drop();
        // The first one is last then, and each is removed from the end.
        std::reverse(_children.begin(), _children.end());
        for (auto* child : _children)
            child->_inheritWatching(kAncestorObserved, false);  // who observes hears once, of all
    }
    // Listeners of a child's death may destroy its siblings, and this container.
    while (!frame.fieldDied() && !_children.empty())
        delete _children.back();
}

void Container::_restartInternalIdentifiers() noexcept {
    if (empty()) _nextInternalIdentifier = 1;
}

bool Container::_addField(FieldBase* field) {
    return _addField(field, end());
}

bool Container::_addField(FieldBase* field, iterator position) {
    if (field == nullptr || field->_parent != nullptr || !_mayAdd(*field)) return false;
    const auto index = static_cast<std::size_t>(position - begin());
    _validateInternalIdentifier(field);
    _insertChild(field, index);
    return true;
}

bool Container::_addNumberedField(FieldBase* field, iterator position) {
    if (field == nullptr || field->_parent != nullptr || !_mayAdd(*field)) return false;
    const auto index = static_cast<std::size_t>(position - begin());
    if (field->_internalIdentifier == 0) field->_internalIdentifier = _nextInternalIdentifier;
    _nextInternalIdentifier = std::max(_nextInternalIdentifier, field->_internalIdentifier + 1);
    _insertChild(field, index);
    return true;
}

namespace {

/// Fields are destroyed, copied and visited by recursion, which a stack of 8 MiB has to hold, also in a debug build.
constexpr int kMostLevels = 1000;

/// How many levels of fields there are, the field's own included, counted no further than to `most` + 1.
int countLevels(const FieldBase& field, int most) {
    int count = 1;
    for (auto level = field.getChildren(); !level.empty() && count <= most; ++count) {
        FieldBase::Children below;
        for (const auto* each : level)
            below.insert(below.end(), each->getChildren().begin(), each->getChildren().end());
        level = std::move(below);
    }
    return count;
}

}  // namespace

bool Container::_mayAdd(const FieldBase& field) const {
    if (!field.isValid() || !_accepts(field)) return false;
    int depth = 0;
    for (const Container* above = this; above != nullptr; above = above->_parent) {
        if (above == &field) return false;
        ++depth;
    }
    const int room = kMostLevels - depth;
    if (room > 0 && (field.getChildren().empty() || countLevels(field, room) <= room)) return true;
    Kr::logMessage(Kr::eLogLevel::kWarn,
                   "Container: '%s' is not added to '%s': fields lie more than %d levels deep inside one another.\n",
                   field.getID().str().c_str(), getID().str().c_str(), kMostLevels);
    return false;
}

bool Container::_accepts(const FieldBase&) const {
    return true;
}
bool Container::_mayRemove(std::size_t) const {
    return true;
}

/// Most containers hold a handful; growing from one would make three allocations of it.
static constexpr std::size_t kUsualChildren = 4;

void Container::_insertChild(FieldBase* field, std::size_t index) {
    const detail::NotificationFrame frame(*this, *field);
    _place(field, index);
    field->_tellConnectionsOfMove();
    if (frame.fieldDied() || frame.changedDied()) return;
    if (field->_has(kAncestorObserved)) _notifyLater(*field);
}

void Container::_insertCopy(FieldBase* copy, std::size_t index) {
    _place(copy, index);
    if (copy->_has(kAncestorObserved)) _notifyLater(*copy);
}

void Container::_place(FieldBase* field, std::size_t index) {
    int connected = 0;
    int watched = 0;
    {
        const std::lock_guard lock(detail::treeMutex());
        if (_children.capacity() == 0) _children.reserve(kUsualChildren);
        _children.insert(_children.begin() + static_cast<std::ptrdiff_t>(index), field);
        if (index + 1 == _children.size()) {
            _lookup.onAppended(_children);
        } else {
            _lookup.drop();
        }
        field->_parent = this;
        if (field->_has(kOwnerIsActive) != _has(kOwnerIsActive)) field->_setOwnerIsActive(_has(kOwnerIsActive));
        if (field->_has(kModeIsEditing) != _has(kModeIsEditing)) {
            field->_setApplicationModeIsEditing(_has(kModeIsEditing));
        }
        field->_inheritWatching(kAncestorObserved, _has(kAncestorObserved | kHasObservers));
        field->_inheritWatching(kAncestorConnected, _has(kAncestorConnected | kTransfers));
        if (_getFieldOwner() != nullptr) field->_countOutputsBelow(+1, connected, watched);
    }
    _tellOwnerOfTree();
    _tellOwner(connected, watched);
}

bool Container::_removeField(FieldBase* field) {
    if (field == nullptr || field->_parent != this) return false;
    _takeOut(*field, false);
    return true;
}

void Container::_onChildDies(FieldBase& field) {
    _takeOut(field, true);
}

void Container::_takeOut(FieldBase& field, bool isDying) {
    // From the back: members of an object die in the reverse order of their making.
    const auto found = std::find(_children.rbegin(), _children.rend(), &field);
    int connected = 0;
    int watched = 0;
    bool wasObserved = false;
    {
        const std::lock_guard lock(detail::treeMutex());
        if (_getFieldOwner() != nullptr) field._countOutputsBelow(-1, connected, watched);
        if (found == _children.rbegin()) {
            _lookup.onLastGoes(_children);
        } else {
            _lookup.drop();
        }
        _children.erase(std::next(found).base());
        field._parent = nullptr;
        wasObserved = field._has(kAncestorObserved);
        field._inheritWatching(kAncestorObserved, false);
        field._inheritWatching(kAncestorConnected, false);
    }
    _tellOwnerOfTree();
    _tellOwner(connected, watched);
    const detail::NotificationFrame frame(*this, *this);
    if (!isDying) field._tellConnectionsOfMove();
    if (wasObserved && !frame.fieldDied()) _notifyLater(*this);
}

void Container::_notifyLater(const FieldBase&) const {
    _notifyChanged(*this);
}

void Container::_validateInternalIdentifier(FieldBase* field) noexcept {
    auto& identifier = field->_internalIdentifier;
    if (identifier >= _nextInternalIdentifier && identifier != kLastInternalIdentifier) {
        _nextInternalIdentifier = identifier + 1;
        return;
    }
    const auto isTaken = [&](std::uint32_t number) {
        return number == 0 || std::any_of(begin(), end(), [&](const FieldBase* child) {
                   return child != field && child->_internalIdentifier == number;
               });
    };
    if (identifier != kLastInternalIdentifier && !isTaken(identifier)) return;
    if (_nextInternalIdentifier != kLastInternalIdentifier) {
        identifier = _nextInternalIdentifier++;
        return;
    }
    // Numbers from damaged content have used up the range: take the first gap.
    for (identifier = 1; isTaken(identifier);)
        ++identifier;
}

void Container::_takeInternalIdentifiers(const Container& source) {
    const auto isAlike = [](const FieldBase* one, const FieldBase* other) {
        return one->_id == other->_id && one->_internalIdentifier == other->_internalIdentifier;
    };
    if (std::equal(begin(), end(), source.begin(), source.end(), isAlike)) return;
    detail::ChildPairs pairs(_children, source._children);
    const auto likenessOf = [&](std::size_t at) -> const FieldBase* {
        if (isFieldArray()) return at < source.size() ? source._children[at] : nullptr;
        return pairs.find(at);
    };
    std::unordered_set<std::uint32_t> taken;
    std::vector<FieldBase*> others;
    for (std::size_t i = 0; i < size(); ++i) {
        const auto* likeness = likenessOf(i);
        const auto number = likeness != nullptr ? likeness->_internalIdentifier : 0;
        if (number != 0 && number != kLastInternalIdentifier && taken.insert(number).second) {
            _children[i]->_internalIdentifier = number;
            _nextInternalIdentifier = std::max(_nextInternalIdentifier, number + 1);
        } else {
            others.push_back(_children[i]);
        }
    }
    for (auto* child : others) {
        auto& number = child->_internalIdentifier;
        if (number != 0 && taken.insert(number).second) continue;
        number = 0;
        _validateInternalIdentifier(child);
        taken.insert(number);
    }
}

// --- Access --------------------------------------------------------------------------------------------------------

FieldBase* Container::getFieldByInternalIdentifier(std::uint32_t identifier) const noexcept {
    const auto position =
        std::find_if(begin(), end(), [&](const FieldBase* child) { return child->_internalIdentifier == identifier; });
    return position != end() ? *position : nullptr;
}

Kr::KrID Container::getUniqueFieldId(const Kr::KrID& id) const {
    if (_findOwn(id) == end()) return id;
    KrSim::StringUtils::UniqueNamesCollection names;
    for (const auto* child : _children)
        names.add(child->_id.str());
    return Kr::KrID(names.add(id.str()));
}

void Container::_endConnections() noexcept {
    // By index: listeners of a connection may add and remove fields.
    for (std::size_t i = 0; i < size(); ++i) {
        auto* child = _children[i];
        if (child->getDataType() == Types::kContainer) static_cast<Container*>(child)->_endConnections();
        if (i < size() && _children[i] == child) child->_dropConnections();
    }
}

// --- Order ---------------------------------------------------------------------------------------------------------

Container::iterator Container::moveField(iterator position, const Kr::KrID& id) {
    const auto from = _children.begin() + (_findOwn(id) - begin());
    if (from == _children.end()) return end();
    const auto behind = _children.begin() + (position - begin());
    if (behind == from) return from;
    _tellOwnerOfTree();
    const std::lock_guard lock(detail::treeMutex());
    _lookup.drop();
    if (behind == _children.end()) {
        std::rotate(from, from + 1, _children.end());
        return end() - 1;
    }
    if (from < behind) {
        std::rotate(from, from + 1, behind + 1);
        return behind;
    }
    std::rotate(behind + 1, from, from + 1);
    return behind + 1;
}

// --- Copying and comparing -----------------------------------------------------------------------------------------

Container* Container::_duplicate() const {
    auto* copy = new Container(*this);
    copy->_setDynamic(true);
    return copy;
}

Container* Container::clone(const Kr::KrID& id, Container* parent) const {
    return _adoptAs(id, _duplicate(), parent);
}

Container* Container::clone(Container* parent) const {
    return clone(getID(), parent);
}

bool Container::_adopt(FieldBase* made, Container* parent) {
    if (parent == nullptr) return true;
    const detail::NotificationFrame frame(*made, *made);
    if (parent->_addField(made)) return !frame.fieldDied();
    delete made;
    return false;
}

FieldBase* Container::_duplicateChild(const FieldBase& child) const {
    return child._duplicate();
}

FieldBase::Children Container::_duplicateChildren(const Container& source) const {
    std::vector<std::unique_ptr<FieldBase>> made;
    made.reserve(source.size());
    for (const auto* child : source._children) {
        if (std::unique_ptr<FieldBase> copy{_duplicateChild(*child)}) made.push_back(std::move(copy));
    }
    Children copies;
    copies.reserve(made.size());
    for (auto& copy : made)
        copies.push_back(copy.release());
    return copies;
}

void Container::_takeCopy(FieldBase* copy) {
    // Unique in its source, so unique here: no search for a double.
    _nextInternalIdentifier = std::max(_nextInternalIdentifier, copy->_internalIdentifier + 1);
    _insertCopy(copy, size());
}

void Container::_cloneFrom(const FieldBase& source) {
    if (this == &source) return;
    FieldBase::_cloneFrom(source);
    if (source.getDataType() != Types::kContainer) return;
    const auto& container = static_cast<const Container&>(source);
    // Memory and copies first: the source may be one of the fields below that go.
    _children.reserve(container.size());
    const auto copies = _duplicateChildren(container);
    const auto fieldType = container._fieldType;
    _destroyChildren();
    _fieldType = fieldType;
    for (auto* copy : copies)
        _takeCopy(copy);
}

void Container::copyFieldsTo(Container* destination) const {
    if (destination == nullptr) return;
    std::unordered_set<std::uint32_t> taken;
    for (const auto* child : destination->_children)
        taken.insert(child->_internalIdentifier);
    // Observers of the destination may destroy either container.
    const detail::NotificationFrame frame(*this, *destination);
    const auto count = size();
    for (std::size_t i = 0; !frame.fieldDied() && !frame.changedDied() && i < count && i < size(); ++i) {
        auto* copy = _children[i]->_duplicate();
        if (copy == nullptr) continue;
        if (!destination->_mayAdd(*copy)) {
            delete copy;
            continue;
        }
        auto& next = destination->_nextInternalIdentifier;
        auto& identifier = copy->_internalIdentifier;
        if (next == kLastInternalIdentifier) {
            destination->_validateInternalIdentifier(copy);
        } else {
            if (identifier == 0 || (identifier < next && taken.contains(identifier))) identifier = next;
            next = std::max(next, identifier + 1);
        }
        taken.insert(identifier);
        destination->_insertCopy(copy, destination->size());
    }
}

template <class PairAction>
void Container::_forEachPair(const Container& other, PairAction&& action) {
    // Observers of a copied value may change either list, and destroy either container.
    const detail::NotificationFrame frame(*this, other);
    detail::ChildPairs pairs(_children, other._children, detail::ChildPairs::Surplus::kSharesFirst);
    for (std::size_t i = 0; !frame.fieldDied() && !frame.changedDied() && i < size(); ++i) {
        if (const auto* source = pairs.find(i)) action(*_children[i], *source);
    }
}

Container& Container::operator=(const Container& other) {
    if (this != &other) {
        _forEachPair(other, [](FieldBase& child, const FieldBase& source) { child.copyValue(source); });
    }
    return *this;
}

bool Container::copyValue(const FieldBase& source) {
    if (source.getDataType() == Types::kContainer) {
        *this = static_cast<const Container&>(source);
        return true;
    }
    const detail::NotificationFrame frame(*this, source);
    if (source.getDataType() == Types::kProxy && TransferValueConverter(source, *this)) return true;
    if (frame.fieldDied() || frame.changedDied()) return false;
    Kr::logMessage(Kr::eLogLevel::kDebug, "Container: unable to copy value from %s to %s.\n", source.getPath().c_str(),
                   getPath().c_str());
    return false;
}

bool Container::initializeFrom(const FieldBase& source) {
    if (source.getDataType() != Types::kContainer) return copyValue(source);
    if (this == &source) return true;
    const detail::NotificationFrame frame(*this, source);
    _forEachPair(static_cast<const Container&>(source),
                 [](FieldBase& child, const FieldBase& from) { child.initializeFrom(from); });
    if (!frame.fieldDied() && !frame.changedDied()) _replaceInternal(detail::FieldAccess::getInternalIfAny(source));
    return true;
}

bool Container::isEqual(const FieldBase& other) const {
    if (other.getDataType() != Types::kContainer) {
        return other.getDataType() == Types::kProxy && other.isEqual(*this);
    }
    if (this == &other) return true;
    const auto& container = static_cast<const Container&>(other);
    if (size() != container.size()) return false;
    const auto hasEqual = [&](const FieldBase& child, const FieldBase* beside) {
        return std::any_of(container._findOwn(child._id), container.end(), [&](const FieldBase* twin) {
            return twin != beside && twin->_id == child._id && child.isEqual(*twin);
        });
    };
    for (std::size_t i = 0; i < size(); ++i) {
        const auto& child = *_children[i];
        const auto* beside = container._children[i]->_id == child._id ? container._children[i] : nullptr;
        if (beside != nullptr && child.isEqual(*beside)) continue;
        if (!hasEqual(child, beside)) return false;
    }
    return true;
}

void Container::reset() {
    const detail::NotificationFrame frame(*this, *this);
    for (std::size_t i = 0; !frame.fieldDied() && i < size(); ++i)
        _children[i]->reset();
}

// --- Observing and walking -----------------------------------------------------------------------------------------

void Container::refreshObservers() const {
    {
        const std::lock_guard lock(detail::treeMutex());
        for (auto* child : _children) {
            child->_setState(kAncestorObserved, _has(kAncestorObserved | kHasObservers));
            child->_setState(kAncestorConnected, _has(kAncestorConnected | kTransfers));
        }
    }
    for (auto* child : _children)
        child->refreshObservers();
}

void Container::_clearObservers() {
    FieldBase::_clearObservers();
    for (auto* child : _children)
        child->_clearObservers();
}

void Container::accept(FieldVisitor& visitor) {
    visitor.visitContainer(*this);
    for (auto* child : _children) {
        if (child->getDataType() == Types::kContainer) {
            static_cast<Container*>(child)->accept(visitor);
        } else {
            visitor.visitField(*child);
        }
    }
}

void Container::_setAlwaysCallObservers(FieldBase& field, bool always) {
    field._setStateDownward(kForceObservers, always);
}

}  // namespace KrData
