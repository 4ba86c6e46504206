#include "kr/data/internal/diff_target.h"

#include <algorithm>

#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/internal/notification_frame.h"

namespace KrData::detail {

std::string pathPrefix(const Container& container) {
    auto path = container.getPath();
    if (!path.empty()) path += '.';
    return path;
}

FieldBase* DiffTarget::_find(std::string_view path) const {
    if (path.empty() || path == FieldBase::getInvalidField().getID().str()) return nullptr;
    return _target.findFieldFromPath(_prefix + std::string(path));
}

bool DiffTarget::remove(std::string_view path) {
    auto* field = _find(path);
    if (field == nullptr) return false;
    auto* parent = field->getParent();
    if (!ContainerAccess::mayRemove(*parent, 1)) return false;
    parent->_removeField(field);
    delete field;
    return true;
}

bool DiffTarget::add(std::string_view path, const FieldBase& recorded) {
    auto* parent = _parentOf(path, recorded);
    if (parent == nullptr) return false;
    const auto& id = recorded.getID();
    if (auto* present = _childOf(*parent, id)) return _replace(*present, recorded);
    std::unique_ptr<FieldBase> copy(FieldAccess::duplicate(recorded));
    if (copy == nullptr) return false;
    // Its number stays where it is free; whether it is was noted, so that nothing searches the children.
    if (_internalIdentifiers.contains(copy->getInternalIdentifier())) FieldAccess::setInternalIdentifier(*copy, 0);
    const NotificationFrame frame(*copy, *copy);
    if (!ContainerAccess::addNumberedField(*parent, copy.get(), parent->end())) return false;
    auto* added = copy.release();
    if (frame.fieldDied() || !_parent.isAlive()) return true;
    _places.try_emplace(id.getNumber(), _parentSize++);
    _internalIdentifiers.insert(added->getInternalIdentifier());
    return true;
}

bool DiffTarget::modify(std::string_view path, const FieldBase& recorded) {
    // Below its parent first: with periods in identifiers, other fields may have the same path.
    auto* parent = _parentOf(path, recorded);
    auto* field = parent != nullptr ? _childOf(*parent, recorded.getID()) : nullptr;
    if (field == nullptr) field = _find(path);
    return field != nullptr && field->copyValue(recorded);
}

Container* DiffTarget::_parentOf(std::string_view path, const FieldBase& recorded) {
    // Identifiers may contain periods, so the field's own one tells where the parent's path ends.
    const std::string_view own = recorded.getID().str();
    auto parentPath = path;
    if (path == own) {
        parentPath = {};
    } else if (!own.empty()) {
        const bool isTail =
            path.size() > own.size() && path.ends_with(own) && path[path.size() - own.size() - 1] == '.';
        const auto period = isTail ? path.size() - own.size() - 1 : path.rfind('.');
        parentPath = path.substr(0, period == std::string_view::npos ? 0 : period);
    }
    auto* known = static_cast<Container*>(_parent.get());
    if (known != nullptr && parentPath == _parentPath && known->size() == _parentSize) return known;
    auto* found = parentPath.empty() ? &_target : _find(parentPath);
    if (found == nullptr || found->getDataType() != Types::kContainer) return nullptr;
    auto& parent = static_cast<Container&>(*found);
    _enter(parent, parentPath);
    return &parent;
}

FieldBase* DiffTarget::_childOf(Container& parent, const Kr::KrID& id) const {
    const auto noted = _places.find(id.getNumber());
    if (noted == _places.end()) return nullptr;
    if (noted->second < parent.size() && parent.at(noted->second).getID() == id) return &parent.at(noted->second);
    const auto found = parent.find(id);
    return found != parent.end() ? *found : nullptr;
}

void DiffTarget::_enter(Container& parent, std::string_view path) {
    _parent = FieldReference(&parent);
    _parentPath = path;
    _parentSize = parent.size();
    _places.clear();
    _internalIdentifiers.clear();
    for (std::size_t i = 0; i < parent.size(); ++i) {
        const auto& child = parent.at(i);
        _places.try_emplace(child.getID().getNumber(), i);
        _internalIdentifiers.insert(child.getInternalIdentifier());
    }
}

bool DiffTarget::_replace(FieldBase& old, const FieldBase& recorded) {
    auto* parent = old.getParent();
    // As many children as before, so that a size range does not matter.
    if (!ContainerAccess::mayRemove(*parent, 0)) return false;
    std::unique_ptr<FieldBase> copy(FieldAccess::duplicate(recorded));
    if (copy == nullptr) return false;
    copy->setID(old.getID());
    FieldAccess::setInternalIdentifier(*copy, old.getInternalIdentifier());
    const auto place = std::find(parent->begin(), parent->end(), &old) - parent->begin();
    const auto putBack = [&](FieldBase* field) {
        const auto index = std::min<std::ptrdiff_t>(place, parent->end() - parent->begin());
        return ContainerAccess::addNumberedField(*parent, field, parent->begin() + index);
    };
    const NotificationFrame frame(*parent, *parent);
    std::unique_ptr<FieldBase> taken(&old);
    parent->_removeField(&old);
    if (frame.fieldDied()) return false;
    if (putBack(copy.get())) {
        (void)copy.release();
        return true;
    }
    if (putBack(taken.get())) (void)taken.release();
    return false;
}

}  // namespace KrData::detail
