// How instances follow their definitions, and keep their own data.

#include <exception>
#include <mutex>
#include <utility>

#include "kr/data/container.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/definition_snapshot.h"
#include "kr/extension/internal/extension_list.h"
#include "kr/extension/internal/instance_comparison.h"
#include "kr/extension/internal/instance_sync.h"
#include "kr/extension/internal/outside_connections.h"
#include "kr/extension/internal/own_data.h"
#include "kr/extension/internal/placed_content.h"
#include "kr/extension/kept_content.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "kr/extension/own_record.h"
#include "kr/platform/log.h"

namespace KrSim {

using detail::asObject;
using detail::keepAlive;

namespace {

/// Holds a flag while it lives.
class SyncScope {
public:
    explicit SyncScope(bool& flag) noexcept : _flag(flag) { _flag = true; }
    SyncScope(const SyncScope&) = delete;
    SyncScope& operator=(const SyncScope&) = delete;
    ~SyncScope() { _flag = false; }

private:
    bool& _flag;
};

}  // namespace

// --- Following the definition --------------------------------------------------------------------------------------

bool KrObject::_mayChangeNow() const {
    if (!_isBusy()) return true;
    Kr::logErrorNoThrow(
        "KrObject::sync() was called in the wrong thread or when KrApplication is updating the modules.\n");
    return false;
}

bool KrObject::sync() {
    return _sync(KrCloneMap::Values::kOwn);
}

bool KrObject::_sync(KrCloneMap::Values values) {
    if (!_mayChangeNow() || _isSyncing) return false;
    const auto held = _definition.lock();
    const auto* definition = asObject(held.get());
    if (definition == nullptr) return false;

    const auto self = keepAlive(*this);
    auto* owner = getOwner();
    const auto ownerHeld = owner != nullptr ? keepAlive(*owner) : Kr::KrSmartPtr<KrObject>();
    const SyncScope scope(_isSyncing);
    const auto base = _base;
    detail::ExtensionList place;  // for the way back, which must not need memory
    if (owner != nullptr) {
        // Listeners of the owner see the whole instance removed and added again, in its place.
        place.insert({_position, Kr::KrSmartPtr<KrExtension>(this)});
        owner->_savePosition(getContentID(), _position);
        owner->_removeExtension(this);
    }
    std::exception_ptr failure;
    try {
        _definitionFileName = definition->_definitionFileName;
        failure = detail::InstanceSync(*this, *definition, values).run();
    } catch (...) {
        failure = std::current_exception();
    }
    try {
        if (owner != nullptr) _putBack(*owner);
        if (_outsideConnections) _outsideConnections->report(*this);
    } catch (...) {
        failure = std::current_exception();
        if (owner != nullptr) owner->_reinstate(*this, place);
    }
    if (failure) std::rethrow_exception(failure);
    // A new instance has IDs that nothing waits for.
    if (_base != base && values == KrCloneMap::Values::kOwn) IKeptContent::_retryAll();
    return true;
}

void KrObject::_putBack(KrObject& owner) {
    if (getOwner() != nullptr) return;  // a callback has found it another place
    if (_holds(owner)) {
        owner._logAddingFailed(this);  // a callback has put the owner into the instance
    } else {
        owner._setContextAndAdd(this);
    }
}

// Only the offer to modules and listeners is missing then.
void KrObject::_reinstate(KrObject& instance, detail::ExtensionList& place) noexcept {
    if (instance.getOwner() != nullptr || instance._holds(*this)) return;
    try {
        std::string name;
        {
            const std::lock_guard lock(_listMutex);
            name = _names.add(instance.getName());
        }
        if (name != instance.getName()) instance.setName(name.c_str());
        instance._setApplicationContext(_holdApplication());
    } catch (...) {  // the next sync does it
    }
    if (instance.getOwner() != nullptr) return;  // an observer of the name has added it somewhere
    {
        std::shared_ptr<const HeldExtensions::List> outdated;  // released without the lock
        const std::lock_guard lock(_listMutex);
        auto node = place.extract(place.begin());
        instance._position = node.value().position;
        _extensions->insert(std::move(node));
        ++_changeCount;
        outdated.swap(_held);
        _savedPositions.erase(instance.getContentID().getRuntimeID());
    }
    instance._setOwner(this);
}

void KrObject::_savePosition(const KrContentID& id, std::uint64_t position) {
    const std::lock_guard lock(_listMutex);
    _savedPositions[id.getRuntimeID()] = position;
}

detail::OutsideConnections& KrObject::_getOutsideConnections() {
    if (!_outsideConnections) _outsideConnections = std::make_unique<detail::OutsideConnections>();
    return *_outsideConnections;
}

std::shared_ptr<const detail::DefinitionSnapshot> KrObject::_takeSnapshot() const {
    auto now = detail::DefinitionSnapshot::take(*this, _latestSnapshot.lock());
    _latestSnapshot = now;
    return now;
}

bool KrObject::_holdsCopy(const KrExtension& extension) const {
    return &extension == this ||
           (_holds(extension) && detail::getDepthBelow(getContentID(), extension.getContentID()) > 0);
}

void KrObject::_followSource(const KrObject& source) {
    const auto& id = source._definition.getContentID();
    if (_definition.getContentID() != id) {
        _definition = source._definition;
        _definitionFileName = source._definitionFileName;
    }
    _base = source._base;
}

// --- Own data ------------------------------------------------------------------------------------------------------

KrObject::InstanceDataItem::InstanceDataItem() = default;
KrObject::InstanceDataItem::InstanceDataItem(InstanceDataItem&&) noexcept = default;
KrObject::InstanceDataItem& KrObject::InstanceDataItem::operator=(InstanceDataItem&&) noexcept = default;
KrObject::InstanceDataItem::~InstanceDataItem() = default;

void KrObject::setInstanceData(const KrData::FieldBase& field) {
    // A mark, not a value: it tells what becomes of the value.
    const_cast<KrData::FieldBase&>(field).setMetadata(KrData::kMarkedAsOwn, true);
}

bool KrObject::isInstanceData(const KrData::FieldBase& field) {
    return field.getMetadataAsBool(KrData::kMarkedAsOwn);
}

std::vector<KrObject::InstanceDataItem> KrObject::_getInternalInstanceData() const {
    return detail::InstanceComparison(*this).getItems();
}

KrObject::OwnRecords KrObject::_getOwnRecords() const {
    OwnRecords written;
    for (const auto& [extension, record] : detail::InstanceComparison(*this).getRecords())
        written.emplace(extension, record.toField());
    return written;
}

namespace {

using RawIDs = std::unordered_map<KrContentID::Identifier, KrContentID::Identifier>;

InnerConnections translate(const InnerConnections& connections, const RawIDs& rawIDs) {
    InnerConnections translated;
    for (auto each : connections) {
        const auto source = rawIDs.find(each.source);
        const auto sink = rawIDs.find(each.sink);
        if (source == rawIDs.end() || sink == rawIDs.end()) continue;
        each.source = source->second;
        each.sink = sink->second;
        translated.insert(std::move(each));
    }
    return translated;
}

}  // namespace

void KrObject::_takeOwnRecords(const KrObject& original, const KrCloneMap& clones) {
    if (!_base) return;  // they carry it already
    auto records = detail::InstanceComparison(original).getRecords();
    RawIDs rawIDs;
    for (const auto& [extension, record] : records) {
        if (const auto* clone = clones.find(extension)) {
            rawIDs.emplace(extension->getContentID().getRawID(), clone->getContentID().getRawID());
        }
    }
    for (auto& [extension, record] : records) {
        auto* clone = clones.find(extension);
        if (clone == nullptr) continue;
        for (auto* connections : {&record.added, &record.removed, &record.changed})
            *connections = translate(*connections, rawIDs);
        record.setOn(*clone);
    }
    _base.reset();
}

namespace {

void restore(KrExtension& extension, const KrObject::InstanceDataItem& item) {
    const auto name = item.own.find(OwnRecord::kNamePath);
    const auto parts = name != item.own.end() ? name->second : 0;
    if ((parts & KrData::kOwnValue) != 0) extension.setName(item.name.c_str());
    if ((parts & KrData::kOwnOrder) != 0 && extension.getOwner() != nullptr) {
        detail::ObjectAccess::moveExtension(*extension.getOwner(), extension, item.position);
    }
    if (item.fields) detail::reportLostFields(extension, detail::layOver(extension, *item.fields, item.own));
}

}  // namespace

void KrObject::_takeContent(const InstanceDataItem& item) {
    for (const auto& each : item.content) {
        auto* owner = each->getOwner();
        const auto* object = asObject(each.get());
        if (owner == this || (object != nullptr && object->_holds(*this))) continue;
        if (owner != nullptr && owner != item.holder.get()) continue;  // a callback has found it another place
        const auto position = each->_position;
        if (owner != nullptr) owner->_removeExtension(each.get());
        if (each->getOwner() != nullptr) continue;
        _savePosition(each->getContentID(), position);
        _setContextAndAdd(each.get());
    }
}

void KrObject::_restoreInternalInstanceData(std::vector<InstanceDataItem>& items) {
    if (items.empty()) return;
    detail::TreeIndex index(*this);
    std::vector<bool> isPlaced(items.size(), true);
    for (std::size_t i = 0; i < items.size(); ++i) {
        auto& item = items[i];
        if (item.holder && _holds(*item.holder)) continue;  // stayed, with all that is its own
        auto* extension = index.find(item.contentID);
        if (extension == this) continue;
        auto* object = asObject(extension);
        if (extension != nullptr) restore(*extension, item);
        if (object != nullptr) object->_takeContent(item);
        if (extension != nullptr && object == nullptr) {  // another type, which cannot hold them
            item.fields.reset();
            item.own.clear();
        }
        isPlaced[i] = extension != nullptr && (object != nullptr || item.content.empty());
    }
    std::size_t i = 0;
    std::erase_if(items, [&](const InstanceDataItem&) { return isPlaced[i++]; });
}

std::string detail::describeLost(const std::string& name) {
    return "Lost extension: the definition has no '" + name + "' any more. The own values that it had are kept here.";
}

void KrObject::_createLostExtensionsFromInternalInstanceData(const std::vector<InstanceDataItem>& items) {
    if (items.empty()) return;
    detail::TreeIndex index(*this);
    for (const auto& item : items) {
        const bool isObject = item.isObject || !item.content.empty();
        Kr::KrSmartPtr<KrExtension> lost =
            isObject ? Kr::KrSmartPtr<KrExtension>(Kr::makeSmart<KrObject>()) : Kr::makeSmart<KrExtension>();
        lost->_createUnknownImplementation();
        lost->setName(item.name.c_str());
        lost->_setCreationKey(item.key);
        lost->_setContentID(item.contentID);
        if (item.fields) lost->getFieldsContainer()._loadFrom(*item.fields);
        OwnRecord{.fields = item.own, .added = {}, .removed = {}, .changed = {}}.setOn(*lost);
        if (auto* object = asObject(lost.get())) object->_takeContent(item);
        // Below the object that held it, if that is still there. Whole: after a failure it is not made once more.
        auto* holder = asObject(index.find(detail::holderOf(item.contentID)));
        auto* owner = holder != nullptr ? holder : this;
        owner->_savePosition(item.contentID, item.position);
        lost->addError(detail::describeLost(item.name), !item.wasLost);
        owner->_setContextAndAdd(lost.get());
        index.add(*lost);
    }
}

}  // namespace KrSim
