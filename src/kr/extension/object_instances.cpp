// Copies of objects: clones, instances of definitions, and how instances follow them.

#include <algorithm>
#include <cstddef>
#include <exception>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/data/container.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension_factory.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/object_access.h"
#include "kr/extension/internal/outside_connections.h"
#include "kr/extension/object.h"
#include "kr/platform/log.h"

namespace KrSim {

using detail::asObject;
using detail::keepAlive;

namespace {

/// The metadata bit of fields whose value is the instance's own. Saved with content.
constexpr auto kInstanceData = static_cast<KrData::eMetadata>(256);

bool isPlaced(const KrContentID& id) {
    return !id.getParentInstances().empty();
}

/// By how many placements an ID is derived from that of a holder; 0 when it is not.
std::size_t getDepthBelow(const KrContentID& holder, const KrContentID& id) {
    const auto& chain = id.getParentInstances();
    const auto& above = holder.getParentInstances();
    const auto length = std::max<std::size_t>(above.size(), 1);
    if (chain.size() <= length) return 0;
    const bool isBelow =
        above.empty() ? chain.front() == holder : std::equal(above.begin(), above.end(), chain.begin());
    return isBelow ? chain.size() - length : 0;
}

/// The ID with its last `depth` placements below another holder.
KrContentID moveBelow(const KrContentID& holder, const KrContentID& id, std::size_t depth) {
    const auto& chain = id.getParentInstances();
    auto moved = holder;
    for (auto i = chain.size() - depth; i < chain.size(); ++i)
        moved = KrContentID::createFromParentInstance(moved, chain[i]);
    return moved;
}

}  // namespace

// --- Cloning -------------------------------------------------------------------------------------------------------

Kr::KrSmartPtr<KrObject> KrObject::_makeOfSameType(const char* errorFormat) const {
    if (getCreationKey().isNull()) return Kr::makeSmart<KrObject>();
    const auto made = KrExtensionFactory::create(getCreationKey());
    if (!made) return Kr::makeSmart<KrObject>();
    auto* object = asObject(made.get());
    if (object == nullptr) {
        Kr::logMessage(Kr::eLogLevel::kError, errorFormat, getCreationKey().toString().c_str());
        return {};
    }
    // What the implementation puts into every new object comes with the copy of this one's content.
    for (const auto& extension : object->_getExtensions())
        object->_removeExtension(extension.get());
    return Kr::KrSmartPtr<KrObject>(object);
}

Kr::KrSmartPtr<KrExtension> KrObject::_makeClone() const {
    return _makeOfSameType("Trying to clone a KrObject to a KrExtension created by factory key: %s.\n");
}

namespace {

/// An object that was copied, with the next one to be copied into the copy.
struct CloneLevel {
    const KrObject& source;
    Kr::KrSmartPtr<KrExtension> made;
    KrContentID id;
    HeldExtensions below;
    std::size_t next{0};
};

/// Copies an object without its content, which comes as a new level.
Kr::KrSmartPtr<KrExtension> beginClone(const KrObject& source, KrCloneRequest request,
                                       std::vector<CloneLevel>& levels) {
    request.synchronize = false;  // not before its content is there
    auto made = source.KrExtension::_clone(request);
    if (asObject(made.get()) != nullptr) {
        levels.push_back(CloneLevel{source, made, request.contentID, source._getExtensions()});
    }
    return made;
}

/// The ID of a copy below a copy of `holder` that has the ID `id`.
KrContentID idOfClone(const KrObject& holder, const KrContentID& id, const KrContentID& below) {
    if (isPlaced(id)) return KrContentID::createFromParentInstance(id, below);
    const auto depth = getDepthBelow(holder.getContentID(), below);
    return depth > 0 ? moveBelow(id, below, depth) : KrContentID::createUnique();
}

}  // namespace

/// Without recursion: objects may lie as deep inside one another as they like.
Kr::KrSmartPtr<KrExtension> KrObject::_clone(const KrCloneRequest& request) const {
    std::vector<CloneLevel> levels;
    auto made = beginClone(*this, request, levels);
    while (!levels.empty()) {
        auto& level = levels.back();
        if (level.next == level.below.size()) {
            if (request.synchronize) level.made->_synchronizeImplementation(level.source.getImplementation());
            levels.pop_back();
            continue;
        }
        const Kr::KrSmartPtr<KrExtension> extension = level.below[level.next++];
        auto below = request;
        below.owner = asObject(level.made.get());
        below.contentID = idOfClone(level.source, level.id, extension->getContentID());
        if (const auto* object = asObject(extension.get())) {
            static_cast<void>(beginClone(*object, below, levels));
        } else {
            static_cast<void>(extension->_clone(below));
        }
    }
    return made;
}

void KrObject::_copyTo(KrExtension* target, bool copyFields) const {
    KrExtension::_copyTo(target, copyFields);
    auto* object = asObject(target);
    if (object == nullptr) return;
    object->_definitionFileName = _definitionFileName;
    object->_definition = _definition;
}

void KrObject::_setContentID(const KrContentID& id) {
    const auto before = getContentID();
    KrExtension::_setContentID(id);
    for (const auto& extension : _getExtensions()) {
        const auto depth = getDepthBelow(before, extension->getContentID());
        if (depth > 0) extension->_setContentID(moveBelow(id, extension->getContentID(), depth));
    }
}

void KrObject::_regenerateIDs() {
    _setContentID(KrContentID::createUnique());
    _regenerateIDsBelow();
}

void KrObject::_regenerateIDsBelow() {
    for (const auto& extension : _getExtensions()) {
        const bool isDerived = getDepthBelow(getContentID(), extension->getContentID()) > 0;  // has gone along
        if (!isDerived) extension->_setContentID(KrContentID::createUnique());
        if (auto* child = asObject(extension.get())) child->_regenerateIDsBelow();
    }
}

// --- Instances -----------------------------------------------------------------------------------------------------

KrObject* KrObject::getDefinition() const {
    return asObject(_definition.get());
}

Kr::KrSmartPtr<KrObject> KrObject::instantiate() {
    return instantiate(KrContentID::createUnique());
}

Kr::KrSmartPtr<KrObject> KrObject::instantiate(const KrContentID& id) {
    if (isInstance()) {
        Kr::logMessage(Kr::eLogLevel::kError, "KrObject: Trying to instantiate '%s' which is an object instance.\n",
                       getName().c_str());
        return {};
    }
    auto& registry = KrContentRegistry::instance();
    if (registry.find(id) != nullptr) {
        Kr::logMessage(Kr::eLogLevel::kError, "KrObject: Trying to instantiate '%s' with an id already used.\n",
                       getName().c_str());
        return {};
    }
    auto made = _makeOfSameType("Trying to instantiate a KrObject to a KrExtension created by factory key: %s.\n");
    if (!made) return made;
    if (!hasName()) _setDefaultName();
    made->setName(getName().c_str());
    made->_setCreationKey(getCreationKey());
    registry.unregisterExtension(made.get());
    made->_setContentID(id);
    registry.registerExtension(made.get());
    made->_definition.setTarget(this);
    made->_sync(KrCloneMap::Values::kOfSource);
    return made;
}

void KrObject::replaceDefinition(KrObject* definition) {
    if (definition == nullptr) {
        Kr::logMessage(Kr::eLogLevel::kError, "KrObject::replaceDefinition: given object pointer is nullptr.\n");
        return;
    }
    if (definition->isInstance()) {
        Kr::logMessage(Kr::eLogLevel::kError, "KrObject::replaceDefinition: given object is not a definition.\n");
        return;
    }
    const auto& chain = getContentID().getParentInstances();
    const bool isPlacement = !chain.empty() && asObject(KrContentRegistry::instance().find(chain.back())) != nullptr;
    if (!isInstance() && !isPlacement) {
        Kr::logMessage(Kr::eLogLevel::kError, "KrObject::replaceDefinition: object is not an instance.\n");
        return;
    }
    if (!_mayChangeNow()) return;
    // sync saves the own values first and puts them back where raw IDs match.
    _definition.setTarget(definition);
    sync();
}

// --- Following the definition --------------------------------------------------------------------------------------

namespace {

/// Removes what the definition no longer has: fields made at run time that are not marked as own.
void dropFields(KrData::Container& group, const KrData::Container& definition) {
    std::vector<Kr::KrID> gone;
    for (const auto* field : group) {
        if (field->isDynamic() && definition.find(field->getID()) == definition.end() &&
            !KrObject::isInstanceData(*field)) {
            gone.push_back(field->getID());
        }
    }
    for (const auto& id : gone)
        group.removeField(id);
}

void followFields(KrExtension& instance, const KrExtension& definition) {
    auto& fields = instance.getFieldsContainer();
    const auto& source = definition.getFieldsContainer();
    dropFields(fields.getInputs(), source.getInputs());
    dropFields(fields.getOutputs(), source.getOutputs());
    dropFields(fields.getParameters(), source.getParameters());
    fields._loadGroupsFrom(source, {.withoutLinks = true});
}

/// What came from a definition, by runtime ID.
using Placed = std::unordered_map<KrContentID::Identifier, Kr::KrSmartPtr<KrExtension>>;

std::unordered_map<KrContentID::Identifier, KrContentID::Identifier> runtimeIDsByRawID(const Placed& placed) {
    std::unordered_map<KrContentID::Identifier, KrContentID::Identifier> byRawID;
    for (const auto& [id, extension] : placed)
        byRawID.emplace(extension->getContentID().getRawID(), id);
    return byRawID;
}

void takeName(KrExtension& instance, const KrExtension& definition) {
    const bool isOwn = KrObject::isInstanceData(instance.getFieldsContainer().getNameField());
    if (!isOwn && instance.getName() != definition.getName()) instance.setName(definition.getName().c_str());
}

}  // namespace

KrContentID KrObject::_placementOf(const KrExtension& item) const {
    return KrContentID::createFromParentInstance(getContentID(), item.getContentID());
}

bool KrObject::_mayChangeNow() const {
    if (!_isBusy()) return true;
    Kr::logMessage(Kr::eLogLevel::kError,
                   "KrObject::sync() was called in the wrong thread or when KrApplication is updating the modules.\n");
    return false;
}

bool KrObject::sync() {
    return _sync(KrCloneMap::Values::kOwn);
}

bool KrObject::_sync(KrCloneMap::Values values) {
    if (!_mayChangeNow()) return false;
    const auto held = _definition.lock();
    const auto* definition = asObject(held.get());
    if (definition == nullptr) return false;

    const auto self = keepAlive(*this);
    auto* owner = getOwner();
    const auto ownerHeld = owner != nullptr ? keepAlive(*owner) : Kr::KrSmartPtr<KrObject>();
    if (owner != nullptr) {
        // Whoever watches the owner sees the instance go and come back whole, in its place.
        const auto position = _getPosition();
        owner->_removeExtension(this);
        owner->_savePosition(getContentID(), position);
    }
    auto own = _getInternalInstanceData();
    KrCloneMap pairs;
    pairs.add(definition, this, values);
    pairs._keepOutsideConnections(*this);
    _definitionFileName = definition->_definitionFileName;
    std::exception_ptr failure;
    try {
        _syncWith(*definition, pairs);
    } catch (...) {
        failure = std::current_exception();  // of an error that was logged; what could not be made is missing
    }
    pairs._complete();
    _createLostExtensionsFromInternalInstanceData(_restoreInternalInstanceData(std::move(own)));
    pairs._followMessages();
    if (_outsideConnections) _outsideConnections->restore(*this, pairs);
    pairs._synchronizeImplementations();
    if (owner != nullptr && getOwner() == nullptr) owner->_setContextAndAdd(this);
    if (_outsideConnections) _outsideConnections->report(*this);
    if (failure) std::rethrow_exception(failure);
    return true;
}

void KrObject::_savePosition(const KrContentID& id, std::uint64_t position) {
    const std::lock_guard lock(_listMutex);
    _savedPositions[id.getRuntimeID()] = position;
}

void KrObject::_syncWith(const KrObject& definition, KrCloneMap& pairs) {
    followFields(*this, definition);
    pairs.add(&definition, this, KrCloneMap::Values::kOwn);

    Placed placed;
    for (auto& extension : _getExtensions()) {
        const auto& id = extension->getContentID();
        const auto depth = getDepthBelow(getContentID(), id);
        // Deeper ones are lost extensions whose holder is lost, too.
        if (depth == 1 || (depth > 1 && extension->_isUnknownPlaceholder()))
            placed.emplace(id.getRuntimeID(), extension);
    }
    const auto wanted = definition._getExtensions();
    std::vector<Kr::KrSmartPtr<KrExtension>> existing;  // of each wanted one, or null
    const auto takeIfSame = [&](const Placed::iterator& found, const KrExtension& item) {
        const bool isSame = found != placed.end() && !found->second->_isUnknownPlaceholder() &&
                            found->second->getCreationKey().uuid == item.getCreationKey().uuid;
        auto taken = isSame ? found->second : Kr::KrSmartPtr<KrExtension>();
        if (isSame) placed.erase(found);
        return taken;
    };
    for (const auto& extension : wanted)
        existing.push_back(takeIfSame(placed.find(_placementOf(*extension).getRuntimeID()), *extension));
    const auto runtimeIDs = runtimeIDsByRawID(placed);
    for (std::size_t i = 0; i < wanted.size() && !runtimeIDs.empty(); ++i) {
        // The definition came from a file of another name before.
        const auto id = _placementOf(*wanted[i]);
        const auto item = existing[i] ? runtimeIDs.end() : runtimeIDs.find(id.getRawID());
        if (item == runtimeIDs.end()) continue;
        existing[i] = takeIfSame(placed.find(item->second), *wanted[i]);
        if (existing[i]) existing[i]->_setContentID(id);
    }
    for (const auto& [id, extension] : placed) {
        pairs._noteLeaving(*extension);
        _removeExtension(extension.get());
    }
    for (std::size_t i = 0; i < wanted.size(); ++i)
        _syncExtension(*wanted[i], pairs, existing[i].get());
    // Once more, because names may have changed places.
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (existing[i]) takeName(*existing[i], *wanted[i]);
    }
}

void KrObject::_syncExtension(KrExtension& definition, KrCloneMap& pairs, KrExtension* existing) {
    if (existing == nullptr) {
        KrCloneRequest request;
        request.contentID = _placementOf(definition);
        request.owner = this;
        request.clones = &pairs;
        request.synchronize = false;
        _savePosition(request.contentID, definition._getPosition());
        static_cast<void>(definition._clone(request));
        return;
    }
    takeName(*existing, definition);
    auto* object = asObject(existing);
    const auto* definitionObject = asObject(&definition);
    if (object != nullptr && definitionObject != nullptr) {
        object->_syncWith(*definitionObject, pairs);
    } else {
        followFields(*existing, definition);
        pairs.add(&definition, existing, KrCloneMap::Values::kOwn);
    }
}

detail::OutsideConnections& KrObject::_getOutsideConnections() {
    if (!_outsideConnections) _outsideConnections = std::make_unique<detail::OutsideConnections>();
    return *_outsideConnections;
}

// --- Own values ----------------------------------------------------------------------------------------------------

KrObject::InstanceDataItem::InstanceDataItem() = default;
KrObject::InstanceDataItem::InstanceDataItem(InstanceDataItem&&) noexcept = default;
KrObject::InstanceDataItem& KrObject::InstanceDataItem::operator=(InstanceDataItem&&) noexcept = default;
KrObject::InstanceDataItem::~InstanceDataItem() = default;

void KrObject::setInstanceData(const KrData::FieldBase& field) {
    // A mark, not a value: it tells what becomes of the value.
    const_cast<KrData::FieldBase&>(field).setMetadata(kInstanceData, true);
}

bool KrObject::isInstanceData(const KrData::FieldBase& field) {
    return field.getMetadataAsBool(kInstanceData);
}

namespace {

/// Copies of the marked fields, in containers like those above them. Null when there are none.
std::unique_ptr<KrData::Container> copyMarked(const KrData::Container& source) {
    std::unique_ptr<KrData::Container> copies;
    const auto target = [&] {
        if (!copies) copies = std::make_unique<KrData::Container>(source.getID(), nullptr, source.getFieldType());
        return copies.get();
    };
    for (const auto* field : source) {
        if (KrObject::isInstanceData(*field)) {
            static_cast<void>(field->clone(target()));
        } else if (field->getDataType() == KrData::Types::kContainer && !field->isFieldArray()) {
            if (auto below = copyMarked(static_cast<const KrData::Container&>(*field))) {
                below->_setDynamic(true);
                if (target()->_addField(below.get())) static_cast<void>(below.release());
            }
        }
    }
    return copies;
}

void collectOwn(const KrExtension& extension, std::vector<KrObject::InstanceDataItem>& items) {
    if (auto fields = copyMarked(extension.getFieldsContainer())) {
        KrObject::InstanceDataItem item;
        item.contentID = extension.getContentID();
        item.name = extension.getName();
        item.key = extension.getCreationKey();
        item.position = extension._getPosition();
        item.isObject = extension.isOfClassType(KrObject::getClassType());
        item.fields = std::move(fields);
        items.push_back(std::move(item));
    }
    if (!extension.isOfClassType(KrObject::getClassType())) return;
    for (const auto& below : static_cast<const KrObject&>(extension)._getExtensions())
        collectOwn(*below, items);
}

/// The ID of the object that holds what has this ID: the chain without its last entry.
KrContentID holderOf(const KrContentID& id) {
    const auto& chain = id.getParentInstances();
    if (chain.size() < 2) return {};
    auto holder = chain.front();
    for (std::size_t i = 1; i + 1 < chain.size(); ++i)
        holder = KrContentID::createFromParentInstance(holder, chain[i]);
    return holder;
}

void putBack(KrExtension& extension, const KrData::Container& own) {
    auto& fields = extension.getFieldsContainer();
    fields._loadFrom(own);
    const auto& name = fields.getNameField();
    if (own[name.getID()].isValid()) KrObject::setInstanceData(name);
}

/// All extensions of a tree, by both IDs.
struct TreeIndex {
    std::unordered_map<KrContentID::Identifier, KrExtension*> byRuntimeID, byRawID;

    void add(KrExtension& extension) {
        byRuntimeID.emplace(extension.getContentID().getRuntimeID(), &extension);
        byRawID.emplace(extension.getContentID().getRawID(), &extension);
        if (const auto* object = asObject(&extension)) {
            for (const auto& below : object->_getExtensions())
                add(*below);
        }
    }
    [[nodiscard]] KrExtension* find(const KrContentID& id) const {
        if (const auto found = byRuntimeID.find(id.getRuntimeID()); found != byRuntimeID.end()) return found->second;
        const auto found = byRawID.find(id.getRawID());
        return found != byRawID.end() ? found->second : nullptr;
    }
};

}  // namespace

std::vector<KrObject::InstanceDataItem> KrObject::_getInternalInstanceData() const {
    std::vector<InstanceDataItem> items;
    collectOwn(*this, items);
    return items;
}

std::vector<KrObject::InstanceDataItem> KrObject::_restoreInternalInstanceData(std::vector<InstanceDataItem> items) {
    std::vector<InstanceDataItem> others;
    if (items.empty()) return others;
    TreeIndex index;
    index.add(*this);
    for (auto& item : items) {
        if (auto* extension = index.find(item.contentID)) {
            putBack(*extension, *item.fields);
        } else {
            others.push_back(std::move(item));
        }
    }
    return others;
}

std::string KrObject::_describeLost(const std::string& name) {
    return "Lost extension: the definition has no '" + name + "' any more. The own values that it had are kept here.";
}

void KrObject::_createLostExtensionsFromInternalInstanceData(const std::vector<InstanceDataItem>& items) {
    if (items.empty()) return;
    TreeIndex index;
    index.add(*this);
    for (auto& item : items) {
        Kr::KrSmartPtr<KrExtension> lost =
            item.isObject ? Kr::KrSmartPtr<KrExtension>(Kr::makeSmart<KrObject>()) : Kr::makeSmart<KrExtension>();
        lost->_createUnknownImplementation();
        lost->setName(item.name.c_str());
        lost->_setCreationKey(item.key);
        lost->_setContentID(item.contentID);
        putBack(*lost, *item.fields);
        lost->addError(_describeLost(item.name), false);
        // Below the object that held it, if that is still there.
        auto* holder = asObject(index.find(holderOf(item.contentID)));
        auto* owner = holder != nullptr ? holder : this;
        owner->_savePosition(item.contentID, item.position);
        owner->_setContextAndAdd(lost.get());
        index.add(*lost);
    }
}

}  // namespace KrSim
