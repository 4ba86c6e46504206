#include "kr/data/container_diff.h"

#include <algorithm>
#include <memory>

#include "kr/data/field_access.h"
#include "kr/data/internal/diff_target.h"
#include "kr/data/internal/notification_frame.h"

namespace KrData {

namespace {

const Kr::KrID& fieldPathId() {
    static const Kr::KrID id("fieldPath");
    return id;
}

std::string relativePath(const FieldBase& field, std::string_view prefix) {
    auto path = field.getPath();
    path.erase(0, std::min(prefix.size(), path.size()));
    return path;
}

}  // namespace

// --- Items ---------------------------------------------------------------------------------------------------------

ContainerDiff::Item::Item(const Kr::KrID& id, Container* parent) : Container(Detached{}, id, Types::kUndefined) {
    add<std::string>(fieldPathId());
    _attachTo(parent);
}

ContainerDiff::Item::Item(const Item& source) = default;
ContainerDiff::Item::~Item() {
    _detachFromEverything();
}

bool ContainerDiff::Item::set(const FieldBase& field, std::string_view prefix) {
    // Both first: the field may be the clone held so far.
    auto path = relativePath(field, prefix);
    auto* copy = detail::FieldAccess::duplicate(field);
    while (getField() != nullptr)
        erase(end() - 1);
    if (empty()) add<std::string>(fieldPathId());
    const bool held = _addField(copy);
    if (!held) delete copy;
    (*this)[fieldPathId()].FieldBase::set(path);
    return held;
}

std::string ContainerDiff::Item::getFieldPath() const {
    return (*this)[fieldPathId()].get<std::string>();
}

ContainerDiff::Item* ContainerDiff::Item::_duplicate() const {
    auto* copy = new Item(*this);
    copy->_setDynamic(true);
    return copy;
}

ContainerDiff::Item* ContainerDiff::Item::clone(const Kr::KrID& id, Container* parent) const {
    return _adoptAs(id, _duplicate(), parent);
}

ContainerDiff::Item* ContainerDiff::Item::clone(Container* parent) const {
    return clone(getID(), parent);
}

// --- The difference ------------------------------------------------------------------------------------------------

ContainerDiff::ContainerDiff(const Kr::KrID& id, Container* parent)
    : Container(Detached{}, id, Types::kField),
      _added("AddedFields", this),
      _removed("RemovedFields", this),
      _modified("ModifiedFields", this) {
    _attachTo(parent);
}

ContainerDiff::ContainerDiff(const ContainerDiff& source) : ContainerDiff(source.getID()) {
    ContainerDiff::_cloneFrom(source);
    _setDynamic(false);
}

ContainerDiff::~ContainerDiff() {
    _detachFromEverything();
}

ContainerDiff* ContainerDiff::_duplicate() const {
    auto* copy = new ContainerDiff(*this);
    copy->_setDynamic(true);
    return copy;
}

ContainerDiff* ContainerDiff::clone(const Kr::KrID& id, Container* parent) const {
    return _adoptAs(id, _duplicate(), parent);
}

ContainerDiff* ContainerDiff::clone(Container* parent) const {
    return clone(getID(), parent);
}

void ContainerDiff::_cloneFrom(const FieldBase& source) {
    if (this == &source) return;
    FieldBase::_cloneFrom(source);  // NOLINT(bugprone-parent-virtual-call): the arrays are members
    const auto* difference = dynamic_cast<const ContainerDiff*>(&source);
    if (difference == nullptr) return;
    const auto take = [](FieldArrayBase& own, const FieldArrayBase& other) {
        own._cloneFrom(other);
        own._setDynamic(false);  // a member stays one
    };
    take(_added, difference->_added);
    take(_removed, difference->_removed);
    take(_modified, difference->_modified);
}

bool ContainerDiff::_mayRemove(std::size_t) const {
    return false;
}

void ContainerDiff::diff(const Container& first, const Container& second) {
    _added.clear();
    _removed.clear();
    _modified.clear();
    _compare(first, second, {detail::pathPrefix(first), detail::pathPrefix(second)});
}

void ContainerDiff::_compare(const Container& first, const Container& second, const Prefixes& prefixes) {
    const auto record = [&](Items& items, const FieldBase& field) {
        if (auto* item = items.append()) item->set(field, prefixes.second);
    };
    for (const auto* mine : first) {
        const auto found = second.find(mine->getID());
        const auto* theirs = found != second.end() ? *found : nullptr;
        if (theirs == nullptr) {
            if (auto* path = _removed.append()) path->setValue(relativePath(*mine, prefixes.first));
        } else if (mine->getDataType() == Types::kContainer && theirs->getDataType() == Types::kContainer &&
                   !mine->isFieldArray()) {
            _compare(static_cast<const Container&>(*mine), static_cast<const Container&>(*theirs), prefixes);
        } else if (!mine->isEqual(*theirs)) {
            record(_modified, *theirs);
        }
    }
    for (const auto* theirs : second) {
        if (first.find(theirs->getID()) == first.end()) record(_added, *theirs);
    }
}

bool ContainerDiff::apply(Container& target) const {
    // Observers may destroy the target, or this difference.
    const detail::NotificationFrame frame(*this, target);
    const auto gone = [&] { return frame.fieldDied() || frame.changedDied(); };
    detail::DiffTarget edited(target);
    bool complete = true;
    for (std::size_t i = 0; !gone() && i < _removed.size(); ++i) {
        if (!edited.remove(_removed.item(i)->getValue())) complete = false;
    }
    for (std::size_t i = 0; !gone() && i < _added.size(); ++i) {
        const auto* field = _added.item(i)->getField();
        if (field == nullptr || !edited.add(_added.item(i)->getFieldPath(), *field)) complete = false;
    }
    for (std::size_t i = 0; !gone() && i < _modified.size(); ++i) {
        const auto* field = _modified.item(i)->getField();
        if (field == nullptr || !edited.modify(_modified.item(i)->getFieldPath(), *field)) complete = false;
    }
    return complete && !gone();
}

}  // namespace KrData
