#include "kr/extension/internal/instance_comparison.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kr/core/connection_base.h"
#include "kr/data/stored_path.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/object_access.h"
#include "kr/extension/internal/own_data.h"
#include "kr/extension/internal/placed_content.h"

namespace KrSim::detail {

namespace {

using Node = DefinitionSnapshot::Node;

std::vector<KrExtension*> findCopies(const KrObject& object, const Node& node) {
    std::vector<Wanted> wanted;
    wanted.reserve(node.children.size());
    for (const auto& child : node.children)
        wanted.push_back({child.id, child.type});
    return findCopies(object, node.id, wanted);
}

/// A name that only differs because another extension here has that of the original.
bool isMadeUnique(const KrExtension& extension, const std::string& name) {
    const auto& own = extension.getName();
    const auto* owner = extension.getOwner();
    return owner != nullptr && own.size() > name.size() + 1 && own.compare(0, name.size(), name) == 0 &&
           own[name.size()] == ' ' && own.find_first_not_of("0123456789", name.size() + 1) == std::string::npos &&
           owner->findExtensionByName(name, false) != nullptr;
}

/// Parts that are a reason to keep what has no place.
bool isWorthKeeping(const KrData::OwnFields::Paths& paths) {
    return std::any_of(paths.begin(), paths.end(), [](const auto& each) {
        const auto kept = each.first == OwnRecord::kNamePath ? KrData::kOwnValue : ~KrData::kOwnState;
        return (each.second & kept) != 0;
    });
}

}  // namespace

InstanceComparison::InstanceComparison(const KrObject& instance) : _instance(instance), _base(instance._getBase()) {
    if (!_base) {
        _readTree(instance);
        return;
    }
    std::vector<const KrExtension*> order;
    _pair(instance, _base->getRoot(), order);
    for (const auto* extension : order)
        _compare(*extension, *_entries.at(extension).node);
    _addLost(instance);
}

const InstanceComparison::Entry* InstanceComparison::find(const KrExtension& extension) const {
    const auto found = _entries.find(&extension);
    return found != _entries.end() ? &found->second : nullptr;
}

// --- With a base ---------------------------------------------------------------------------------------------------

void InstanceComparison::_pair(const KrExtension& extension, const Node& asSaved,
                               std::vector<const KrExtension*>& order) {
    const auto* object = asObject(&extension);
    const auto& node = object != nullptr ? _rebase(*object, asSaved) : asSaved;
    _entries[&extension].node = &node;
    order.push_back(&extension);
    _originals.emplace(&extension, node.id.getRuntimeID());
    _originalIDs.emplace(extension.getContentID().getRuntimeID(), node.id.getRuntimeID());
    if (object == nullptr) return;
    const auto copies = findCopies(*object, node);
    for (std::size_t i = 0; i < copies.size(); ++i) {
        if (copies[i] != nullptr) _pair(*copies[i], node.children[i], order);
    }
}

const Node& InstanceComparison::_rebase(const KrObject& inner, const Node& node) {
    const auto& followed = inner._getBase();
    if (&inner == &_instance || !followed || !node.base || followed == node.base) return node;
    // It has followed its own definition since: what it took over there is nothing that the holder of this one chose.
    return _rebased.emplace_back(rebase(node, node.base->getRoot(), followed->getRoot()));
}

void InstanceComparison::_compare(const KrExtension& extension, const Node& node) {
    auto& entry = _entries.at(&extension);
    const auto& fields = extension.getFieldsContainer();
    const KrData::Container* const groups[] = {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()};
    for (std::size_t i = 0; i < std::size(groups); ++i) {
        auto rules = rulesFor(*groups[i]);
        rules.isSameReference = [&](const KrData::FieldBase& field, const KrData::FieldBase& base) {
            return _isSameReference(node, field, base);
        };
        findOwnFields(*groups[i], *node.groups[i], rules, entry.own);
    }
    if (&extension == &_instance) return;  // its name and place are never those of the definition
    const auto& name = fields.getNameField();
    entry.own.addMarked(name);
    if (extension.getName() != node.name && !isMadeUnique(extension, node.name)) entry.own.add(name, KrData::kOwnValue);
    if (extension._getPosition() != node.position) entry.own.add(name, KrData::kOwnOrder);
    const auto* object = asObject(&extension);
    if (object != nullptr && object->getDefinitionReference().getContentID().getRuntimeID() != node.definition) {
        entry.own.add(name, KrData::kOwnField);
    }
}

bool InstanceComparison::_isSameReference(const Node& node, const KrData::FieldBase& field,
                                          const KrData::FieldBase& base) const {
    const auto wanted = node.references.find(&base);
    const auto own = describeReferences(field);
    if (wanted == node.references.end()) return false;
    return std::equal(own.begin(), own.end(), wanted->second.begin(), wanted->second.end(),
                      [&](const ReferenceTarget& mine, const ReferenceTarget& original) {
                          if (mine.path != original.path) return false;
                          const auto found = _originalIDs.find(mine.extension);
                          return mine.extension == original.extension ||
                                 (found != _originalIDs.end() && found->second == original.extension);
                      });
}

void InstanceComparison::_addLost(const KrObject& object) {
    for (const auto& extension : object._getExtensions()) {
        if (extension->_isUnknownPlaceholder()) _readOwn(*extension);
        const auto* child = asObject(extension.get());
        if (child != nullptr && find(*child) != nullptr) _addLost(*child);
    }
}

// --- As a file says ------------------------------------------------------------------------------------------------

void InstanceComparison::_readTree(const KrExtension& extension) {
    _readOwn(extension);
    const auto* object = asObject(&extension);
    if (object == nullptr) return;
    for (const auto& below : object->_getExtensions()) {
        if (getDepthBelow(object->getContentID(), below->getContentID()) > 0) _readTree(*below);
    }
}

void InstanceComparison::_readOwn(const KrExtension& extension) {
    auto& own = _entries[&extension].own;
    const auto record = OwnRecord::of(extension);
    const auto& fields = extension.getFieldsContainer();
    own.addMarked(fields.getNameField());
    for (const auto* group : {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()})
        own.addMarked(*group);
    own.addPaths(fields, record.fields);
}

// --- Connections ---------------------------------------------------------------------------------------------------

namespace {

void addOriginals(const KrExtension& extension, const Node& node, InstanceComparison::Originals& originals) {
    originals.emplace(&extension, node.id.getRuntimeID());
    const auto* object = asObject(&extension);
    if (object == nullptr) return;
    const auto copies = findCopies(*object, node);
    for (std::size_t i = 0; i < copies.size(); ++i) {
        if (copies[i] != nullptr) addOriginals(*copies[i], node.children[i], originals);
    }
}

InnerConnections without(const InnerConnections& all, const InnerConnections& others) {
    InnerConnections left;
    std::set_difference(all.begin(), all.end(), others.begin(), others.end(), std::inserter(left, left.end()));
    return left;
}

/// Those whose ends are both there, by other IDs.
template <class ToOther>
InnerConnections translate(const InnerConnections& connections, const ToOther& toOther) {
    InnerConnections translated;
    for (const auto& each : connections) {
        const auto source = toOther.find(each.source);
        const auto sink = toOther.find(each.sink);
        if (source == toOther.end() || sink == toOther.end()) continue;
        translated.insert({source->second, each.sourcePath, sink->second, each.sinkPath});
    }
    return translated;
}

}  // namespace

InstanceComparison::Originals InstanceComparison::findOriginals(
    const std::shared_ptr<const DefinitionSnapshot>& now) const {
    if (now == _base) return _originals;
    Originals originals;
    addOriginals(_instance, now->getRoot(), originals);
    return originals;
}

InnerConnections InstanceComparison::collectConnections(const Originals& originals) {
    ConnectionCollector collector(originals);
    for (const auto& [extension, id] : originals)
        collector.collect(*extension);
    return collector.take();
}

bool InstanceComparison::isOwn(const Kr::KrConnectionBase& connection) const {
    const auto* source = connection.getSourceOwner();
    const auto* sink = connection.getSinkOwner();
    if (find(*source) == nullptr || find(*sink) == nullptr) return true;
    const auto sourcePath = KrData::_getStoredPath(*connection.getSource());
    const auto sinkPath = KrData::_getStoredPath(*connection.getSink());
    if (!_base) {
        if (!OwnRecord::of(_instance).isComplete) return true;
        const auto& sourceID = source->getContentID().getRawID();
        const auto& sinkID = sink->getContentID().getRawID();
        return OwnRecord::of(*sink).added.count({sourceID, sourcePath, sinkID, sinkPath}) != 0;
    }
    const auto from = _originals.find(source);
    const auto to = _originals.find(sink);
    if (from == _originals.end() || to == _originals.end()) return true;  // a lost part
    return _base->getConnections().count({from->second, sourcePath, to->second, sinkPath}) == 0;
}

InstanceComparison::ConnectionChanges InstanceComparison::compareConnections(const DefinitionSnapshot& now,
                                                                             const Originals& originals) const {
    const auto present = collectConnections(originals);
    ConnectionChanges changes;
    const auto notNow = without(present, now.getConnections());
    if (_base) {
        std::set_intersection(notNow.begin(), notNow.end(), _base->getConnections().begin(),
                              _base->getConnections().end(), std::inserter(changes.outdated, changes.outdated.end()));
        // Both ends must have been there, or it was never made.
        std::unordered_map<Identifier, Identifier> known;
        for (const auto& [extension, id] : _originals)
            known.emplace(id, id);
        changes.removed = without(translate(_base->getConnections(), known), collectConnections(_originals));
        return changes;
    }
    std::unordered_map<Identifier, Identifier> ids;
    InnerConnections added;
    for (const auto& [extension, id] : originals)
        ids.emplace(extension->getContentID().getRawID(), id);
    for (const auto& [extension, id] : originals) {
        const auto record = OwnRecord::of(*extension);
        added.merge(translate(record.added, ids));
        changes.removed.merge(translate(record.removed, ids));
    }
    if (OwnRecord::of(_instance).isComplete) changes.outdated = without(notNow, added);
    return changes;
}

// --- Results -------------------------------------------------------------------------------------------------------

std::unordered_map<const KrExtension*, OwnRecord> InstanceComparison::getRecords() const {
    std::unordered_map<const KrExtension*, OwnRecord> records;
    if (!_base) return records;
    std::unordered_map<Identifier, const KrExtension*> bySinkID;
    std::unordered_map<Identifier, Identifier> copies;
    for (const auto& [extension, id] : _originals) {
        records[extension].fields = find(*extension)->own.toPaths();
        copies.emplace(id, extension->getContentID().getRawID());
        bySinkID.emplace(extension->getContentID().getRawID(), extension);
    }
    records[&_instance].isComplete = true;
    const auto present = collectConnections(_originals);
    std::unordered_map<Identifier, Identifier> known;
    for (const auto& [extension, id] : _originals)
        known.emplace(id, id);
    for (const auto& each : translate(without(present, _base->getConnections()), copies))
        records[bySinkID.at(each.sink)].added.insert(each);
    for (const auto& each : translate(without(_base->getConnections(), present), copies))
        records[bySinkID.at(each.sink)].removed.insert(each);
    return records;
}

std::vector<KrObject::InstanceDataItem> InstanceComparison::getItems() const {
    std::vector<KrObject::InstanceDataItem> items;
    _addItems(_instance, items);
    return items;
}

void InstanceComparison::_addItems(const KrExtension& extension, std::vector<KrObject::InstanceDataItem>& items) const {
    const auto* entry = find(extension);
    if (entry == nullptr) return;
    const auto* object = asObject(&extension);
    KrObject::InstanceDataItem item;
    std::vector<const KrExtension*> followed;
    if (object != nullptr) {
        for (const auto& below : object->_getExtensions()) {
            if (find(*below) != nullptr) {
                followed.push_back(below.get());
            } else if (object != &_instance) {
                item.content.push_back(below);
            }
        }
    }
    item.own = entry->own.toPaths();
    if (!item.content.empty() || isWorthKeeping(item.own)) {
        item.contentID = extension.getContentID();
        item.name = extension.getName();
        item.key = extension.getCreationKey();
        item.position = extension._getPosition();
        item.isObject = object != nullptr;
        item.wasLost = extension._isUnknownPlaceholder();
        item.holder =
            Kr::KrSmartPtr<KrExtension>(extension.getRefCount() > 0 ? const_cast<KrExtension*>(&extension) : nullptr);
        item.fields = copyOwnFields(extension, entry->own);
        items.push_back(std::move(item));
    }
    for (const auto* below : followed)
        _addItems(*below, items);
}

}  // namespace KrSim::detail
