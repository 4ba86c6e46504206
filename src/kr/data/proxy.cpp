#include "kr/data/proxy.h"

#include <algorithm>
#include <memory>
#include <unordered_set>
#include <utility>

#include "kr/data/container.h"
#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/i_copy_map.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/data/internal/proxy_list.h"
#include "kr/data/value_conversion.h"
#include "kr/platform/log.h"

namespace KrData {

namespace {

const Proxy* asProxy(const FieldBase& field) {
    return field.getDataType() == Types::kProxy ? static_cast<const Proxy*>(&field) : nullptr;
}

using Fields = std::unordered_set<const FieldBase*>;

/// Everything that sets this field when it is set itself: the proxies that link it and the containers it is in, the
/// proxies that link these, and so on.
Fields settersOf(const FieldBase& field) {
    Fields setters;
    std::vector<const FieldBase*> open{&field};
    while (!open.empty()) {
        const auto* each = open.back();
        open.pop_back();
        const auto visit = [&](const FieldBase* setter) {
            if (setter != nullptr && setters.insert(setter).second) open.push_back(setter);
        };
        visit(each->getParent());
        for (const auto* proxy : detail::FieldAccess::getProxies(*each))
            visit(proxy);
    }
    return setters;
}

/// Whether a proxy links the field or a container above it.
bool isSetByProxies(const FieldBase& field) {
    for (const auto* each = &field; each != nullptr; each = each->getParent()) {
        if (!detail::FieldAccess::getProxies(*each).empty()) return true;
    }
    return false;
}

bool isAbove(const FieldBase& container, const FieldBase& field) {
    const FieldBase* each = field.getParent();
    while (each != nullptr && each != &container)
        each = each->getParent();
    return each != nullptr;
}

/// Whether `field` would stay as it is if it were set to `value`.
bool wouldStay(const FieldBase& field, const FieldBase& value) {
    if (field.isEqual(value)) return true;
    if (field.getDataType() == value.getDataType() || !CanConvert(value, field)) return false;
    const std::unique_ptr<FieldBase> copy(detail::FieldAccess::duplicate(field));
    return copy != nullptr && copy->copyValue(value) && copy->isEqual(field);
}

}  // namespace

Proxy::Proxy(const Kr::KrID& id, Types::DataTypeEnum proxyDataType, Container* parent)
    : FieldBase(id, Types::kProxy), _proxyDataType(Types::kUnknown) {
    setProxyDataType(proxyDataType);
    _attachTo(parent);
}

Proxy::Proxy(const Proxy& source) : FieldBase(source), _proxyDataType(source._proxyDataType) {
    _appendCopies(source);
}

Proxy::~Proxy() {
    for (auto& entry : _entries)
        _detach(entry);
    detail::OrphanedProxies::onProxyDestroyed(*this);
    _detachFromEverything();
}

bool Proxy::setProxyDataType(Types::DataTypeEnum dataType) {
    const bool isNone = dataType == Types::kUnknown || dataType == Types::kProxy || dataType == Types::kInvalid;
    if (_proxyDataType != Types::kUnknown || isNone) return false;
    _proxyDataType = dataType;
    return true;
}

// --- Linking -------------------------------------------------------------------------------------------------------

bool Proxy::canLink(const FieldBase* field) const {
    if (field == nullptr || field == this || !field->isValid()) return false;
    const auto role = field->getFieldType();
    if ((role != Types::kInput && role != Types::kOutput && role != Types::kParameter) || role != getFieldType()) {
        return false;
    }
    const auto isLinked = [&](const Entry& entry) { return entry.link.getField() == field; };
    if (std::any_of(_entries.begin(), _entries.end(), isLinked)) return false;
    if (_proxyDataType != Types::kUnknown && !field->canConvertTo(*this)) return false;
    if (settersOf(*this).contains(field)) return false;
    if (asProxy(*field) == nullptr) return true;
    const auto itsSetters = settersOf(*field);
    const auto linking = detail::FieldAccess::getProxies(*this);
    return std::none_of(linking.begin(), linking.end(), [&](Proxy* proxy) { return itsSetters.contains(proxy); });
}

bool Proxy::addLink(FieldBase* field) {
    if (!canLink(field)) return false;
    const detail::NotificationFrame frame(*this, *field);
    if (!_agree(*field) || !canLink(field)) return false;
    _bind(_append(Link(field)), *field);
    return true;
}

bool Proxy::addLink(const KrSim::KrContentReference& extension, const std::string& path) {
    const Link link(extension, path);
    if (path.empty() || _hasLinkTo(link)) return false;
    if (auto* field = link._findField(_home())) return addLink(field);
    _append(link);
    _notifyPropertyChangedToParents(*this);
    return true;
}

bool Proxy::_addStoredLink(const KrSim::KrContentReference& extension, const std::string& path) {
    if (path.empty()) return false;
    _append(Link(extension, path));
    return true;
}

bool Proxy::_agree(FieldBase& field) {
    const detail::NotificationFrame frame(*this, field);
    const auto first =
        std::find_if(_entries.begin(), _entries.end(), [this](const Entry& each) { return _fieldOf(each) != nullptr; });
    if (first != _entries.end()) field.copyValue(*first->link.getField());
    return !frame.fieldDied() && !frame.changedDied();
}

void Proxy::_bind(Entry& entry, FieldBase& field) {
    entry.link.link(&field);
    entry.isProxy = field.getDataType() == Types::kProxy;
    entry.watch = field.addPropertyObserver([this, number = entry.number](const FieldBase&) {
        // It, or a container above it, may have been renamed or moved.
        auto* moved = _entryFrom(number);
        if (moved == nullptr || moved->number != number) return;
        if (moved->link.isValid() && !moved->link._isOutdated()) moved->link.link(moved->link.getField());
    });
    detail::FieldAccess::addProxy(field, this);
    setProxyDataType(_getValueDataType(field));
    _notifyPropertyChangedToParents(*this);
}

void Proxy::updateLinks() {
    // Called in every transfer, so the usual case reads each link once.
    const auto isDone = [](const Entry& entry) {
        return entry.link.isValid() && !entry.isProxy && !entry.link._isOutdated();
    };
    if (_isUpdating || std::all_of(_entries.begin(), _entries.end(), isDone)) return;
    const detail::NotificationFrame frame(*this, *this);
    _isUpdating = true;
    for (std::uint32_t next = 0; auto* entry = _entryFrom(next);) {
        next = entry->number + 1;
        const bool isOutdated = entry->link._isOutdated();
        if (isOutdated) {
            _detach(*entry);
            entry->link._forgetField();
        }
        auto* field = entry->link.isValid() ? entry->link.getField() : _resolve(entry->number);
        if (isOutdated && field == nullptr && !frame.fieldDied()) _notifyPropertyChangedToParents(*this);
        if (!frame.fieldDied() && field != nullptr && asProxy(*field) != nullptr) {
            static_cast<Proxy*>(field)->updateLinks();
        }
        if (frame.fieldDied()) return;
    }
    _isUpdating = false;
}

FieldBase* Proxy::_resolve(std::uint32_t number) {
    auto* field = _entryFrom(number)->link._findField(_home());
    if (!canLink(field) || !_agree(*field)) return nullptr;
    auto* entry = _entryFrom(number);
    if (entry == nullptr || entry->number != number || entry->link.isValid() || !canLink(field)) return nullptr;
    const detail::NotificationFrame frame(*field, *field);
    _bind(*entry, *field);
    return frame.fieldDied() ? nullptr : field;
}

Container* Proxy::_home() const {
    auto* home = getParent();
    while (home != nullptr && home->getParent() != nullptr)
        home = home->getParent();
    return home;
}

bool Proxy::_hasLinkTo(const Link& link) const {
    const auto target = link._asUnresolved(getOwnerExtension());
    return std::any_of(_entries.begin(), _entries.end(), [&](const Entry& entry) {
        return entry.link._asUnresolved(getOwnerExtension())._hasSameTarget(target);
    });
}

Proxy::Entry* Proxy::_entryFrom(std::uint32_t number) {
    const auto found = std::lower_bound(_entries.begin(), _entries.end(), number,
                                        [](const Entry& entry, std::uint32_t least) { return entry.number < least; });
    return found != _entries.end() ? &*found : nullptr;
}

Proxy::Entry& Proxy::_append(Link link) {
    return _entries.emplace_back(Entry{_nextNumber++, std::move(link), {}, false});
}

void Proxy::_appendCopies(const Proxy& source) {
    for (const auto& entry : source._entries)
        _append(entry.link._asUnresolved(source.getOwnerExtension()));
}

// --- Removing ------------------------------------------------------------------------------------------------------

void Proxy::_detach(Entry& entry) {
    if (auto* field = entry.link.getField()) detail::FieldAccess::removeProxy(*field, this);
    entry.watch.disconnect();
}

template <class Condition>
std::size_t Proxy::_removeLinks(Condition&& condition) {
    const auto count = std::erase_if(_entries, [&](Entry& entry) {
        if (!condition(entry)) return false;
        _detach(entry);
        return true;
    });
    if (count != 0) _notifyPropertyChangedToParents(*this);
    return count;
}

bool Proxy::removeLink(const FieldBase* field) {
    return field != nullptr && _removeLinks([&](const Entry& entry) { return entry.link.getField() == field; }) != 0;
}

bool Proxy::removeLink(const KrSim::KrContentReference& extension, const std::string& path) {
    auto* home = getOwnerExtension();
    const auto target = Link(extension, path)._asUnresolved(home);
    return _removeLinks([&](const Entry& entry) { return entry.link._asUnresolved(home)._hasSameTarget(target); }) != 0;
}

void Proxy::removeAllLinks() {
    _removeLinks([](const Entry&) { return true; });
}

std::size_t Proxy::removeInvalidLinks() {
    const detail::NotificationFrame frame(*this, *this);
    updateLinks();
    if (frame.fieldDied()) return 0;
    return _removeLinks([](const Entry& entry) { return !entry.link.isValid(); });
}

// --- The linked fields ---------------------------------------------------------------------------------------------

FieldBase* Proxy::_fieldOf(const Entry& entry) const {
    auto* field = entry.link.getField();
    return field != nullptr && !_leadsBack(*field) ? field : nullptr;
}

bool Proxy::_leadsBack(const FieldBase& field) const {
    // Proxies that link each other form no cycles, so each cycle has a container that one of them links.
    if (field.getChildren().empty()) return false;
    return isAbove(field, *this) || (isSetByProxies(*this) && settersOf(*this).contains(&field));
}

FieldBase* Proxy::_findLinkedField() const {
    for (const auto& entry : _entries) {
        auto* field = _fieldOf(entry);
        if (field == nullptr) continue;
        const auto* proxy = asProxy(*field);
        if (auto* found = proxy != nullptr ? proxy->_findLinkedField() : field) return found;
    }
    return nullptr;
}

FieldBase* Proxy::getLinkedField() const {
    const_cast<Proxy*>(this)->updateLinks();
    return _findLinkedField();
}

Types::DataTypeEnum Proxy::_getValueDataType(const FieldBase& field) noexcept {
    const auto* proxy = asProxy(field);
    return proxy != nullptr ? proxy->_proxyDataType : field.getDataType();
}

bool Proxy::_writeLinked(const FieldBase& source, const std::function<bool(FieldBase&)>& write) {
    const detail::NotificationFrame frame(*this, source);
    updateLinks();
    if (frame.fieldDied() || frame.changedDied()) return false;
    bool accepted = false;
    ++_writes;
    for (std::size_t i = 0; i < _entries.size(); ++i) {
        const auto number = _entries[i].number;
        if (auto* field = _fieldOf(_entries[i])) accepted = write(*field) || accepted;
        if (frame.fieldDied()) return accepted;
        if (frame.changedDied()) break;
        if (i >= _entries.size() || _entries[i].number != number) {
            // The list changed meanwhile: go on behind the place where this link stood.
            const auto* next = _entryFrom(number + 1);
            i = (next != nullptr ? static_cast<std::size_t>(next - _entries.data()) : _entries.size()) - 1;
        }
    }
    if (--_writes == 0 && std::exchange(_isChangeWaiting, false)) _notifyChanged(*this);
    return accepted;
}

bool Proxy::copyValue(const FieldBase& source) {
    const detail::NotificationFrame frame(*this, source);
    const auto* proxy = asProxy(source);
    const auto* value = proxy != nullptr ? proxy->getLinkedField() : &source;
    if (value != nullptr && !frame.fieldDied() &&
        _writeLinked(*value, [value](FieldBase& linked) { return linked.copyValue(*value); })) {
        return true;
    }
    if (!frame.fieldDied() && !frame.changedDied()) {
        Kr::logMessage(Kr::eLogLevel::kDebug, "Proxy: unable to copy value from %s to %s.\n", source.getPath().c_str(),
                       getPath().c_str());
    }
    return false;
}

void Proxy::reset() {
    _writeLinked(*this, [](FieldBase& linked) {
        linked.reset();
        return true;
    });
}

void Proxy::_onLinkedFieldChanged(const FieldBase& linked) {
    const auto hasValue = [this](const Entry& entry) {
        const auto* field = _fieldOf(entry);
        const auto* proxy = field != nullptr ? asProxy(*field) : nullptr;
        return field != nullptr && (proxy == nullptr || proxy->_findLinkedField() != nullptr);
    };
    const auto first = std::find_if(_entries.begin(), _entries.end(), hasValue);
    if (first == _entries.end() || first->link.getField() != &linked) return;
    if (_writes != 0) {
        _isChangeWaiting = true;
    } else if (_needsNotification()) {
        _notifyChanged(*this);
    }
}

void Proxy::_onLinkedFieldDied() {
    _notifyPropertyChangedToParents(*this);
}

// --- The field whatever its type -----------------------------------------------------------------------------------

bool Proxy::isEqual(const FieldBase& other) const {
    if (this == &other) return true;
    const auto* proxy = asProxy(other);
    const auto* mine = getLinkedField();
    const auto* theirs = proxy != nullptr ? proxy->getLinkedField() : &other;
    if (mine == nullptr || theirs == nullptr) {
        return mine == theirs && proxy != nullptr && _proxyDataType == proxy->_proxyDataType;
    }
    const auto allStay = [](const Proxy& each, const FieldBase& value) {
        return std::all_of(each._entries.begin(), each._entries.end(), [&](const Entry& entry) {
            const auto* field = each._fieldOf(entry);
            return field == nullptr || wouldStay(*field, value);
        });
    };
    return allStay(*this, *theirs) && (proxy == nullptr || allStay(*proxy, *mine));
}

bool Proxy::initializeFrom(const FieldBase& source) {
    const auto* proxy = asProxy(source);
    if (proxy == nullptr) return FieldBase::initializeFrom(source);
    if (proxy == this) return true;
    if (!_takeKind(*proxy)) return false;
    for (const auto& entry : proxy->_entries) {
        auto link = entry.link._asUnresolved(source.getOwnerExtension());
        if (!_hasLinkTo(link)) _append(std::move(link));
    }
    const detail::NotificationFrame frame(*this, *this);
    _notifyPropertyChangedToParents(*this);
    if (!frame.fieldDied()) updateLinks();
    return true;
}

bool Proxy::_takeKind(const Proxy& source) {
    const bool isSet = _proxyDataType != Types::kUnknown && source._proxyDataType != Types::kUnknown;
    if (isSet && _proxyDataType != source._proxyDataType) {
        Kr::logMessage(Kr::eLogLevel::kDebug, "Proxy: unable to copy value from %s to %s.\n", source.getPath().c_str(),
                       getPath().c_str());
        return false;
    }
    setProxyDataType(source._proxyDataType);
    detail::FieldAccess::replaceInternal(*this, detail::FieldAccess::getInternalIfAny(source));
    return true;
}

bool Proxy::_initializeWithoutLinks(const Proxy& source) {
    if (!_takeKind(source)) return false;
    _notifyPropertyChangedToParents(*this);
    return true;
}

void Proxy::_copyLinks(const Proxy& source, const ICopyMap& map) {
    const detail::NotificationFrame frame(*this, source);
    for (std::size_t i = 0; i < source._entries.size(); ++i) {
        _copyLink(source._entries[i].link, source.getOwnerExtension(), map);
        if (frame.fieldDied() || frame.changedDied()) return;
    }
}

void Proxy::_copyLink(const Link& link, KrSim::KrExtension* home, const ICopyMap& map) {
    auto* target = link.getField();
    const auto unresolved = link._asUnresolved(home);
    const auto* extension = target != nullptr ? target->getOwnerExtension() : unresolved.getContentReference().get();
    auto* copy = extension != nullptr ? map.findExtension(extension) : nullptr;
    const auto moved = copy != nullptr && copy != getOwnerExtension()
                           ? Link(KrSim::KrContentReference(copy), link.getFieldPath())
                           : unresolved;
    if (copy != nullptr && copy != getOwnerExtension()) {
        const detail::NotificationFrame frame(*this, *this);
        removeLink(unresolved.getContentReference(), unresolved.getFieldPath());
        if (frame.fieldDied()) return;
    }
    auto* field = copy != nullptr && target != nullptr ? map.findField(*target) : copy == nullptr ? target : nullptr;
    if (canLink(field)) {
        const auto waiting = std::find_if(_entries.begin(), _entries.end(), [&](const Entry& entry) {
            return !entry.link.isValid() && entry.link._asUnresolved(getOwnerExtension())._hasSameTarget(moved);
        });
        _bind(waiting != _entries.end() ? *waiting : _append(moved), *field);
    } else if (!_hasLinkTo(moved)) {
        _append(moved);
    }
}

Proxy* Proxy::_duplicate() const {
    auto* copy = new Proxy(*this);
    copy->_setDynamic(true);
    return copy;
}

Proxy* Proxy::clone(const Kr::KrID& id, Container* parent) const {
    return detail::ContainerAccess::adoptAs(id, _duplicate(), parent);
}

Proxy* Proxy::clone(Container* parent) const {
    return clone(getID(), parent);
}

void Proxy::_cloneFrom(const FieldBase& source) {
    if (this == &source) return;
    FieldBase::_cloneFrom(source);
    const auto* proxy = asProxy(source);
    if (proxy == nullptr) return;
    for (auto& entry : _entries)
        _detach(entry);
    _entries.clear();
    _proxyDataType = proxy->_proxyDataType;
    _appendCopies(*proxy);
}

}  // namespace KrData
