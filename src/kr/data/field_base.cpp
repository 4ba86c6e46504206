#include "kr/data/field_base.h"

#include <array>
#include <optional>
#include <utility>

#include "kr/core/base.h"
#include "kr/data/container.h"
#include "kr/data/container_access.h"
#include "kr/data/field.h"
#include "kr/data/i_field_owner.h"
#include "kr/data/internal/description_pool.h"
#include "kr/data/internal/field_rare_state.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/data/internal/proxy_list.h"
#include "kr/data/proxy.h"
#include "kr/data/value_conversion.h"

namespace KrData {

namespace {

const Kr::KrID& metaDataId() {
    static const Kr::KrID id("MetaData");
    return id;
}

const Kr::KrID& dimensionHintId() {
    static const Kr::KrID id("PhysicalDimensionDisplayHint");
    return id;
}

/// The result of every failed lookup; shared by all threads, so it has no variable state.
class InvalidField final : public FieldBase {
public:
    InvalidField() : FieldBase(Kr::KrID("__Invalid__"), Types::kInvalid) {
        detail::ContainerAccess::refuseHiddenFields(getInternal());
    }

    FieldBase* _duplicate() const override { return nullptr; }
    bool copyValue(const FieldBase&) override { return false; }
    bool initializeFrom(const FieldBase&) override { return false; }
    void setDescription(const std::string&) override {}
    FieldBase* clone(const Kr::KrID&, Container*) const override { return nullptr; }
    FieldBase* clone(Container*) const override { return nullptr; }
    void reset() override {}
    bool canConvertTo(Types::DataTypeEnum) const override { return false; }
    bool canConvertTo(const FieldBase&) const override { return false; }
    void _notifyChanged(const FieldBase&) const override {}
    void _notifyPropertyChangedToParents(const FieldBase&) const override {}
    void _cloneFrom(const FieldBase&) override {}
    void _clearObservers() override {}
};

}  // namespace

FieldBase::FieldBase(const Kr::KrID& id, Types::DataTypeEnum dataType)
    : _id(id), _description(detail::emptyDescription()), _dataType(dataType) {}

FieldBase::FieldBase(const FieldBase& source)
    : _id(source._id),
      _description(source._description),
      _internalIdentifier(source._internalIdentifier),
      _dataType(source._dataType),
      _physicalDimension(source._physicalDimension) {
    _replaceInternal(source._getInternalIfAny());
}

FieldBase::~FieldBase() {
    _detachFromEverything();
    delete _rare.load(std::memory_order_relaxed);
}

void FieldBase::_attachTo(Container* parent) {
    if (parent != nullptr) parent->_addField(this);
}

void FieldBase::_detachFromEverything() noexcept {
    detail::NotificationFrame::onFieldDestroyed(*this);
    std::optional<detail::OrphanedProxies> proxies;
    if (_has(kHasProxies)) proxies.emplace(_rareIfAny()->proxies);
    // First of all, so that a handle which ends on another thread does not find half a field.
    if (auto* rare = _rareIfAny()) {
        if (rare->liveness) rare->liveness->end();
        if (auto* observers = rare->observers.exchange(nullptr)) observers->close();
        if (auto* observers = rare->propertyObservers.exchange(nullptr)) observers->close();
    }
    if (_parent != nullptr) _parent->_onChildDies(*this);
    _dropConnections();
    if (!proxies) return;
    for (detail::ProxyList::Walk walk(proxies->proxies()); auto* proxy = walk.next();)
        proxy->_onLinkedFieldDied();
}

FieldBase& FieldBase::getInvalidField() {
    static auto& invalid = *new InvalidField;
    return invalid;
}

// --- Defaults of the virtual operations ----------------------------------------------------------------------------

bool FieldBase::initializeFrom(const FieldBase& source) {
    const detail::NotificationFrame frame(*this, source);
    if (!copyValue(source)) return false;
    if (this != &source && !frame.fieldDied() && !frame.changedDied()) _replaceInternal(source._getInternalIfAny());
    return true;
}

KrSim::KrExtension* FieldBase::getOwnerExtension() const {
    IFieldOwner* owner = _getFieldOwner();
    return owner != nullptr ? owner->asExtension() : nullptr;
}

IFieldOwner* FieldBase::_getFieldOwner() const {
    return _parent != nullptr ? _parent->_getFieldOwner() : nullptr;
}

const FieldBase* FieldBase::_getHolder() const noexcept {
    return _parent;
}

const FieldBase::Children& FieldBase::getChildren() const {
    static const auto& none = *new Children;
    return none;
}

Types::FieldTypeEnum FieldBase::getFieldType() const {
    return _parent != nullptr ? _parent->getFieldType() : Types::kField;
}

bool FieldBase::isEqual(const FieldBase&) const {
    return false;
}
void FieldBase::refreshObservers() const {}
Kr::UnnotifiedCopy FieldBase::_getUnnotifiedCopy(const FieldBase&) const {
    return nullptr;
}
bool FieldBase::canConvertTo(Types::DataTypeEnum dataType) const {
    return CanConvert(*this, dataType);
}
bool FieldBase::canConvertTo(const FieldBase& sink) const {
    return CanConvert(*this, sink);
}
bool FieldBase::getRawValue(void*) const {
    return false;
}
bool FieldBase::setRawValue(const void*) {
    return false;
}
FieldBase& FieldBase::operator[](const Kr::KrID&) {
    return getInvalidField();
}
const FieldBase& FieldBase::operator[](const Kr::KrID&) const {
    return getInvalidField();
}
bool FieldBase::_isFieldArray() const noexcept {
    return false;
}

void FieldBase::_cloneFrom(const FieldBase& source) {
    if (this == &source) return;
    _setState(kDynamic, true);
    _physicalDimension = source._physicalDimension;
    _description = source._description;
    _internalIdentifier = source._internalIdentifier;
    _replaceInternal(source._getInternalIfAny());
    if (_parent != nullptr) _parent->_validateInternalIdentifier(this);
}

// --- Identity and place --------------------------------------------------------------------------------------------

void FieldBase::_notifyPropertyChangedBothWays() const {
    const detail::NotificationFrame frame(*this, *this);
    _notifyPropertyChangedToParents(*this);
    if (!frame.fieldDied()) _notifyPropertyChangedToChildren(*this);
}

bool FieldBase::setID(const Kr::KrID& id) {
    if (!isDynamic()) return false;
    if (_id == id) return true;
    _id = id;
    if (_parent != nullptr) _parent->_onChildRenamed();
    _tellOwnerOfTree();
    _notifyPropertyChangedBothWays();
    return true;
}

bool FieldBase::setParent(Container* parent) {
    if (!isDynamic()) return false;
    if (_parent == parent) return true;
    if (parent != nullptr && !detail::ContainerAccess::mayAdd(*parent, *this)) return false;
    if (_parent != nullptr && !detail::ContainerAccess::mayRemove(*_parent, 1)) return false;
    auto* const old = _parent;
    const detail::NotificationFrame frame(*this, *this);
    const detail::NotificationFrame places(old != nullptr ? *old : *this, parent != nullptr ? *parent : *this);
    if (old != nullptr) old->_removeField(this);
    if (frame.fieldDied()) return true;
    // An observer of the old container may have destroyed the new one, or moved it below this field.
    if (parent != nullptr && (places.changedDied() || !parent->_addField(this))) {
        if (old != nullptr && !places.fieldDied()) old->_addField(this);
        return false;
    }
    if (!frame.fieldDied()) _notifyPropertyChangedBothWays();
    return true;
}

std::string FieldBase::getPath() const {
    // The outermost container is left out when it has an owner extension, and so is any identifier without text.
    const auto textOf = [](const FieldBase& field) -> const std::string& {
        static const auto& none = *new std::string;
        return field._getHolder() == nullptr && field.getOwnerExtension() != nullptr ? none : field._id.str();
    };
    std::size_t length = 0;
    for (const FieldBase* field = this; field != nullptr; field = field->_getHolder()) {
        const auto size = textOf(*field).size();
        if (size != 0) length += size + (length != 0 ? 1 : 0);
    }
    std::string path(length, '.');
    auto end = length;
    for (const FieldBase* field = this; field != nullptr; field = field->_getHolder()) {
        const auto& text = textOf(*field);
        if (text.empty()) continue;
        if (end != length) --end;
        end -= text.size();
        path.replace(end, text.size(), text);
    }
    return path;
}

void FieldBase::_setDynamic(bool dynamic) noexcept {
    if (isValid()) _setState(kDynamic, dynamic);
}

void FieldBase::_setRestricted(bool isBound, bool hasRange, bool isOverridden) const noexcept {
    _setState(kBound, isBound);
    _setState(kOverridden, isOverridden);
    _setState(kRestricted, isBound || hasRange || isOverridden);
}

void FieldBase::_setTreatedAsDynamic(bool on) const noexcept {
    for (const auto* child : getChildren()) {
        if (on ? !child->isDynamic() : child->_has(kTreatedAsDynamic)) {
            child->_setState(kDynamic | kTreatedAsDynamic, on);
        }
        child->_setTreatedAsDynamic(on);
    }
}

void FieldBase::_setInternalIdentifier(std::uint32_t identifier) noexcept {
    if (isValid()) _internalIdentifier = identifier;
}

// --- Properties ----------------------------------------------------------------------------------------------------

FieldInternal* FieldBase::_getInternalIfAny() const noexcept {
    const auto* rare = _rareIfAny();
    return rare != nullptr ? rare->internal.get() : nullptr;
}

FieldInternal& FieldBase::getInternal() {
    auto& internal = _rareState().internal;
    if (!internal) internal = std::make_unique<FieldInternal>();
    return *internal;
}

void FieldBase::_replaceInternal(const FieldInternal* source) {
    if (source != nullptr && source->get() != nullptr) {
        getInternal() = *source;
    } else if (auto* own = _getInternalIfAny()) {
        *own = FieldInternal();
    }
}

void FieldBase::setVisible(bool visible) {
    setMetadata(eMetadata::kHidden, !visible);
}
void FieldBase::setReadOnlyHint(bool readOnly) {
    setMetadata(eMetadata::kReadOnlyHint, readOnly);
}

bool FieldBase::isReadOnlyHint() const {
    return getFieldType() == Types::kOutput || _hasIncomingConnections() ||
           getMetadataAsBool(eMetadata::kReadOnlyHint) || (_getHolder() != nullptr && _getHolder()->isReadOnlyHint());
}

void FieldBase::setDescription(const std::string& description) {
    if (*_description == description) return;
    _description = detail::internDescription(description);
    _notifyPropertyChangedToParents(*this);
}

void FieldBase::setPhysicalDimension(Kr::KrPhysicalDimension::ePhysicalDimension dimension) {
    const auto number = static_cast<std::uint8_t>(dimension);
    if (!isValid() || _physicalDimension == number) return;
    _physicalDimension = number;
    _notifyPropertyChangedToParents(*this);
}

Kr::KrPhysicalDimension::eDimensionHint FieldBase::getPhysicalDimensionHint() const {
    const auto* internal = _getInternalIfAny();
    return static_cast<Kr::KrPhysicalDimension::eDimensionHint>(
        internal != nullptr ? internal->getField(dimensionHintId()).toInteger() : 0);
}

void FieldBase::setPhysicalDimensionHint(Kr::KrPhysicalDimension::eDimensionHint hint) {
    using Hint = Kr::KrPhysicalDimension::eDimensionHint;
    if (!isValid() || getPhysicalDimensionHint() == hint) return;
    if (hint == Hint{}) {
        getInternal().removeField(dimensionHintId());
    } else {
        auto* field = getInternal().addField(dimensionHintId(), Types::kEnumeration);
        if (field == nullptr) return;  // a tool's field of another type has this name
        field->set(Kr::KrEnum(typeid(Hint), static_cast<int>(hint)));
    }
    _notifyPropertyChangedToParents(*this);
}

bool FieldBase::getMetadataAsBool(eMetadata bits) const {
    const auto* internal = _getInternalIfAny();
    if (bits == eMetadata::kNone || internal == nullptr) return false;
    const auto mask = static_cast<int>(bits);
    return (internal->getField(metaDataId()).toInteger() & mask) == mask;
}

void FieldBase::setMetadata(eMetadata bits, bool on) {
    if (!isValid()) return;
    const auto mask = static_cast<int>(bits);
    const auto* internal = _getInternalIfAny();
    const int before = internal != nullptr ? internal->getField(metaDataId()).toInteger() : 0;
    const int after = on ? before | mask : before & ~mask;
    if (before == after) return;
    if (auto* field = getInternal().addField(metaDataId(), Types::kInteger)) {
        field->set(after);
        _notifyPropertyChangedToParents(*this);
    }
}

const Kr::KrSmartPtr<Kr::Liveness<FieldBase>>& FieldBase::_getLiveness() const {
    auto& liveness = _rareState().liveness;
    if (!liveness) liveness = Kr::makeSmart<Kr::Liveness<FieldBase>>(const_cast<FieldBase*>(this));
    return liveness;
}

detail::FieldRareState& FieldBase::_rareState() const {
    auto* rare = _rareIfAny();
    if (rare != nullptr) return *rare;
    auto made = std::make_unique<detail::FieldRareState>();
    // Two threads may add the first observers at the same time; one of the states is kept.
    if (_rare.compare_exchange_strong(rare, made.get(), std::memory_order_acq_rel)) return *made.release();
    return *rare;
}

}  // namespace KrData
