#include "kr/extension/internal/instance_sync.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <unordered_set>
#include <utility>

#include "kr/core/connection_access.h"
#include "kr/core/connection_base.h"
#include "kr/data/field_access.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/data/stored_path.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/outside_connections.h"
#include "kr/extension/internal/own_data.h"
#include "kr/extension/internal/placed_content.h"
#include "kr/extension/object_access.h"
#include "kr/platform/log.h"

namespace KrSim::detail {

using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;
using KrData::detail::ProxyAccess;

InstanceSync::InstanceSync(KrObject& instance, const KrObject& definition, KrCloneMap::Values values)
    : _instance(instance),
      _definition(definition),
      _values(values),
      _comparison(instance),
      _now(definition._takeSnapshot()),
      _originals(_comparison.findOriginals(_now)) {
    for (const auto& [extension, id] : _originals)
        _originalIDs.emplace(extension->getContentID().getRuntimeID(), id);
    for (const auto& node : _now->getNodes())
        _definitionIDs.insert(node.id.getRuntimeID());
}

namespace {

/// What a failed sync has left is as it was then, but for extensions that are here again.
void addTo(std::vector<KrObject::InstanceDataItem>& items, std::vector<KrObject::InstanceDataItem> present) {
    std::unordered_set<Identifier> known;
    for (const auto& each : present)
        known.insert(each.contentID.getRuntimeID());
    std::erase_if(items, [&](const auto& each) { return known.contains(each.contentID.getRuntimeID()); });
    items.insert(items.end(), std::make_move_iterator(present.begin()), std::make_move_iterator(present.end()));
}

}  // namespace

std::exception_ptr InstanceSync::run() {
    auto& items = _instance._unplacedData;
    addTo(items, _comparison.getItems());
    auto changes = _comparison.compareConnections(*_now, _originals);
    _endConnections(changes.outdated);
    _removedConnections = std::move(changes.removed);
    bool hadMemory = true;
    const auto tryAll = [&](const auto& steps) {
        try {
            _try(steps);
        } catch (const std::bad_alloc&) {
            _failure = std::current_exception();
            hadMemory = false;
        }
    };
    tryAll([this] { _followAll(); });
    tryAll([this] {
        _try([this] { _followLinks(); });
        _pairs._complete([this](const auto& source, const auto& sink) { return _mayConnect(source, sink); });
    });
    _instance._restoreInternalInstanceData(items);
    _instance._createLostExtensionsFromInternalInstanceData(items);
    items.clear();
    if (hadMemory) {  // else the next run has the same to follow
        _dropRecords();
        _instance._base = _now;
    }
    _pairs._followMessages(_instance);
    if (auto* outside = _instance._outsideConnections.get()) outside->restore(_instance);
    _pairs._synchronizeImplementations();
    return _failure;
}

template <class Step>
void InstanceSync::_try(const Step& step) {
    try {
        step();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        _failure = std::current_exception();
    }
}

// --- The tree ------------------------------------------------------------------------------------------------------

/// An object that follows its original, and the next one of its parts to follow.
struct InstanceSync::Level {
    KrObject& object;
    const KrObject& definition;
    bool isInner;
    HeldExtensions originals;
    std::vector<Kr::KrSmartPtr<KrExtension>> copies;
    std::size_t next{0};
};

/// Without recursion: objects may lie as deep inside one another as they like.
void InstanceSync::_followAll() {
    std::vector<Level> levels;
    levels.push_back(_begin(_instance, _definition, false));
    while (!levels.empty()) {
        auto& level = levels.back();
        if (level.next < level.originals.size()) {
            _try([&] { _followPart(level, levels); });
            continue;
        }
        // Once more, because names may have changed places.
        for (std::size_t i = 0; i < level.originals.size(); ++i) {
            const auto& copy = level.copies[i];
            if (copy && copy->getOwner() == &level.object) _try([&] { _followName(*copy, *level.originals[i]); });
        }
        levels.pop_back();
    }
}

InstanceSync::Level InstanceSync::_begin(KrObject& object, const KrObject& definition, bool isInner) {
    _try([&] { _followFields(object, definition, isInner); });
    if (&object != &_instance) _try([&] { _followDefinition(object, definition); });
    _pair(definition, object, &object == &_instance ? _values : KrCloneMap::Values::kOwn);

    Level level{.object = object,
                .definition = definition,
                .isInner = isInner,
                .originals = definition.getExtensions(),
                .copies = {}};
    std::vector<Wanted> wanted;
    wanted.reserve(level.originals.size());
    for (const auto& each : level.originals)
        wanted.push_back({each->getContentID(), each->getCreationKey().uuid});
    for (auto* copy : findCopies(object, definition.getContentID(), wanted))
        level.copies.emplace_back(copy);
    _removeOthers(object, level.copies);
    return level;
}

/// \param levels  gets a new one, which makes `level` invalid, for a part that is an object.
void InstanceSync::_followPart(Level& level, std::vector<Level>& levels) {
    const auto& copy = level.copies[level.next];
    auto& original = *level.originals[level.next++];
    auto& object = level.object;
    const auto id = placeCopy(object.getContentID(), level.definition.getContentID(), original.getContentID());
    const auto* inner = asObject(&original);
    const bool isBelowInner = level.isInner || (inner != nullptr && inner->isInstance());
    if (!copy) {
        _add(object, original, id, isBelowInner);
        return;
    }
    if (copy->getOwner() != &object) return;  // a callback took it out
    if (copy->getContentID() != id) ExtensionAccess::setContentID(*copy, id);
    _try([&] { _followNameAndPlace(object, *copy, original); });
    auto* child = asObject(copy.get());
    if (child != nullptr && inner != nullptr) {
        auto below = _begin(*child, *inner, isBelowInner);
        levels.push_back(std::move(below));
    } else {
        _try([&] { _followFields(*copy, original, isBelowInner); });
        _pair(original, *copy, KrCloneMap::Values::kOwn);
    }
}

void InstanceSync::_pair(const KrExtension& original, KrExtension& copy, KrCloneMap::Values values) {
    _pairs.add(&original, &copy, values);
    _followed.emplace_back(&original, &copy);
}

void InstanceSync::_removeOthers(KrObject& object, const std::vector<Kr::KrSmartPtr<KrExtension>>& copies) {
    std::unordered_set<const KrExtension*> staying;
    for (const auto& copy : copies)
        staying.insert(copy.get());
    for (const auto& each : object.getExtensions()) {
        const auto depth = getDepthBelow(object.getContentID(), each->getContentID());
        // Deeper ones are lost extensions whose holder is lost, too.
        const bool isPlacedHere = depth == 1 || (depth > 1 && ExtensionAccess::isUnknownPlaceholder(*each));
        if (isPlacedHere && each->getOwner() == &object && staying.count(each.get()) == 0) {
            _instance._getOutsideConnections().noteLeaving(_instance, *each, _isOwnConnection);
            object._removeExtension(each.get());
        }
    }
}

namespace {

/// A copy is ready to follow; its marks are those of the inner instance that it was copied from.
void settle(KrExtension& copy, const KrExtension& original, bool isInner) {
    const auto& source = original.getFieldsContainer();
    auto& fields = copy.getFieldsContainer();
    settleCopy(fields.getInputs(), source.getInputs(), isInner);
    settleCopy(fields.getOutputs(), source.getOutputs(), isInner);
    settleCopy(fields.getParameters(), source.getParameters(), isInner);
}

void collectProxies(const KrData::FieldBase& field, std::vector<KrData::FieldReference>& found) {
    if (field.getDataType() == KrData::Types::kProxy) found.emplace_back(const_cast<KrData::FieldBase*>(&field));
    for (const auto* child : field.getChildren())
        collectProxies(*child, found);
}

}  // namespace

void InstanceSync::_settleTree(const KrExtension& top, bool isTopInner) {
    std::vector<std::pair<const KrExtension*, bool>> open{{&top, isTopInner}};
    for (std::size_t i = 0; i < open.size(); ++i) {
        const auto [original, isInner] = open[i];
        auto* copy = _pairs.find(original);
        if (copy == nullptr) continue;
        settle(*copy, *original, isInner);
        collectProxies(original->getFieldsContainer(), _originalsOfNewProxies);
        const auto* object = asObject(original);
        if (object == nullptr) continue;
        for (const auto& below : object->getExtensions()) {
            const auto* inner = asObject(below.get());
            open.emplace_back(below.get(), isInner || (inner != nullptr && inner->isInstance()));
        }
    }
}

void InstanceSync::_add(KrObject& owner, KrExtension& definition, const KrContentID& id, bool isInner) {
    KrCloneRequest request;
    request.contentID = id;
    request.owner = &owner;
    request.clones = &_pairs;
    request.isPlacing = true;
    request.synchronize = false;
    owner._savePosition(request.contentID, ExtensionAccess::getPosition(definition));
    static_cast<void>(ExtensionAccess::clone(definition, request));
    _settleTree(definition, isInner);
}

// --- One extension -------------------------------------------------------------------------------------------------

void InstanceSync::_followFields(KrExtension& extension, const KrExtension& definition, bool isInner) {
    static const auto& nothing = *new KrData::OwnFields;
    const auto* entry = _comparison.find(extension);
    auto& fields = extension.getFieldsContainer();
    const auto& source = definition.getFieldsContainer();
    std::vector<std::string> lost;
    for (auto* group : FieldsAccess::getGroups(fields)) {
        auto rules = rulesFor(*group);
        rules.isInner = isInner;
        rules.keepsState = !_comparison.hasBase();
        rules.isOwnOnly = _comparison.isOwnOnly();
        rules.noteLeaving = [this](KrData::FieldBase& field) {
            _instance._getOutsideConnections().noteLeaving(_instance, field, _isOwnConnection);
        };
        rules.followReference = [this](KrData::FieldBase& field, const KrData::FieldBase& from) {
            _followReference(field, from);
        };
        const auto& from = static_cast<const KrData::Container&>(source[group->getID()]);
        const auto gone = KrData::followFields(*group, from, entry != nullptr ? entry->own : nothing, rules);
        lost.insert(lost.end(), gone.begin(), gone.end());
    }
    if (!lost.empty() || extension.getErrorCount() > 0) reportLostFields(extension, lost);
}

void InstanceSync::_followReference(KrData::FieldBase& field, const KrData::FieldBase& source) {
    const auto mine = describeReferences(field);
    const auto wanted = describeReferences(source);
    const auto isSame = [&](const ReferenceTarget& own, const ReferenceTarget& original) {
        if (own.path != original.path) return false;
        if (_definitionIDs.count(original.extension) == 0) return own.extension == original.extension;
        const auto found = _originalIDs.find(own.extension);
        return found != _originalIDs.end() && found->second == original.extension;
    };
    if (std::equal(mine.begin(), mine.end(), wanted.begin(), wanted.end(), isSame)) return;
    // References to the definition are redirected to the copies when all of them exist.
    if (field.getDataType() == KrData::Types::kProxy) {
        _proxies.emplace_back(KrData::FieldReference(&field),
                              KrData::FieldReference(const_cast<KrData::FieldBase*>(&source)));
    } else {
        field.copyValue(source);
    }
}

void InstanceSync::_followLinks() {
    for (const auto& [field, source] : _proxies) {
        auto* proxy = field.get();
        const auto* original = source.get();
        if (proxy == nullptr || original == nullptr) continue;
        ProxyAccess::copyLinks(*static_cast<KrData::Proxy*>(proxy), static_cast<const KrData::Proxy&>(*original),
                               _pairs);
        if (const auto* owner = original->getOwnerExtension())
            _reportMissing(static_cast<const KrData::Proxy&>(*original), *owner);
    }
    for (const auto& each : _originalsOfNewProxies) {
        const auto* original = each.get();
        const auto* owner = original != nullptr ? original->getOwnerExtension() : nullptr;
        if (owner != nullptr) _reportMissing(static_cast<const KrData::Proxy&>(*original), *owner);
    }
}

/// What is outside of the definition is linked by its copies, too, and needs no copy.
void InstanceSync::_reportMissing(const KrData::Proxy& proxy, const KrExtension& owner) const {
    for (std::size_t i = 0; i < proxy.getLinkCount(); ++i) {
        const auto& link = proxy.getLink(i);
        const auto& reference = link.getContentReference();
        const auto* linked = link.isValid() ? link.getField()->getOwnerExtension() : reference.get();
        const bool isAtHome = linked == nullptr && reference.isEmpty();
        if (isAtHome || (linked != nullptr && (!_definition._holds(*linked) || _pairs.find(linked) != nullptr)))
            continue;
        const auto name = linked != nullptr ? linked->getName() : reference.getContentID().toString();
        Kr::logMessage(Kr::eLogLevel::kWarn, "KrObject: extension '%s' not found when syncing proxy of '%s'.\n",
                       name.c_str(), owner.getName().c_str());
    }
}

void InstanceSync::_followDefinition(KrObject& object, const KrObject& definition) {
    const auto* entry = _comparison.find(object);
    const bool isOwn =
        entry != nullptr && (entry->own.getParts(object.getFieldsContainer().getNameField()) & KrData::kOwnField) != 0;
    if (isOwn) return;
    object._followSource(definition);
}

void InstanceSync::_followNameAndPlace(KrObject& owner, KrExtension& extension, const KrExtension& definition) {
    _followName(extension, definition);
    const auto* entry = _comparison.find(extension);
    const auto& name = extension.getFieldsContainer().getNameField();
    const bool isOwn = entry != nullptr && (entry->own.getParts(name) & KrData::kOwnOrder) != 0;
    if (!isOwn && ExtensionAccess::getPosition(extension) != ExtensionAccess::getPosition(definition)) {
        owner._moveExtension(extension, ExtensionAccess::getPosition(definition));
    }
}

void InstanceSync::_followName(KrExtension& extension, const KrExtension& definition) const {
    const auto* entry = _comparison.find(extension);
    const auto& name = extension.getFieldsContainer().getNameField();
    const bool isOwn = entry != nullptr && (entry->own.getParts(name) & KrData::kOwnValue) != 0;
    const bool isUnchanged = entry != nullptr && entry->node != nullptr && entry->node->name == definition.getName();
    if (!isOwn && !isUnchanged && extension.getName() != definition.getName()) {
        extension.setName(definition.getName().c_str());
    }
}

void InstanceSync::_dropRecords() const {
    for (const auto& [original, copy] : _followed) {
        OwnRecord::dropFrom(*copy);
        // An inner instance whose definition is still to come has the record of its original.
        OwnRecord::of(*original).setOn(*copy);
    }
}

// --- Connections ---------------------------------------------------------------------------------------------------

namespace {

void endConnection(const KrData::FieldBase& source, const KrData::FieldBase& sink) {
    std::vector<std::unique_ptr<Kr::KrConnectionBase>> ended;  // destroyed after the last use of the fields
    for (auto* connection : FieldAccess::getOutgoingConnections(source)) {
        if (connection->getSink() != &sink) continue;
        if (ConnectionAccess::isUnowned(*connection)) {
            ended.emplace_back(connection);
            continue;
        }
        for (auto* keeper : {sink.getOwnerExtension(), source.getOwnerExtension()}) {
            auto kept = keeper != nullptr ? FieldsAccess::releaseConnection(keeper->getFieldsContainer(), *connection)
                                          : nullptr;
            if (kept) ended.push_back(std::move(kept));
        }
    }
}

}  // namespace

void InstanceSync::_endConnections(const InnerConnections& connections) {
    if (connections.empty()) return;
    std::unordered_map<Identifier, const KrExtension*> copies;
    for (const auto& [extension, id] : _originals)
        copies.emplace(id, extension);
    for (const auto& each : connections) {
        const auto* source = KrData::_findStoredPath(copies.at(each.source)->getFieldsContainer(), each.sourcePath);
        const auto* sink = KrData::_findStoredPath(copies.at(each.sink)->getFieldsContainer(), each.sinkPath);
        if (source != nullptr && sink != nullptr) endConnection(*source, *sink);
    }
}

bool InstanceSync::_mayConnect(const KrData::FieldBase& source, const KrData::FieldBase& sink) const {
    if (_removedConnections.empty()) return true;
    const auto idOf = [](const KrData::FieldBase& field) {
        return field.getOwnerExtension()->getContentID().getRuntimeID();
    };
    return _removedConnections.count(
               {idOf(source), KrData::_getStoredPath(source), idOf(sink), KrData::_getStoredPath(sink)}) == 0;
}

}  // namespace KrSim::detail
