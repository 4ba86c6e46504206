#include "kr/extension/internal/instance_comparison.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kr/core/connection_base.h"
#include "kr/data/stored_path.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/own_data.h"
#include "kr/extension/internal/placed_content.h"
#include "kr/extension/object_access.h"

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

InstanceComparison::InstanceComparison(const KrObject& instance)
    : _instance(instance),
      _base(ObjectAccess::base(instance)),
      _isOwnOnly(!_base && OwnRecord::of(instance).isOwnOnly) {
    if (!_base) {
        _readTree();
        return;
    }
    for (const auto* extension : _pair())
        _compare(*extension, *_entries.at(extension).node);
    _addLost();
}

const InstanceComparison::Entry* InstanceComparison::find(const KrExtension& extension) const {
    const auto found = _entries.find(&extension);
    return found != _entries.end() ? &found->second : nullptr;
}

// --- With a base ---------------------------------------------------------------------------------------------------

namespace {

/// Calls `visit` for an instance and each extension in it that is the copy of a node, with that node. It returns the
/// node with whose children the walk continues.
template <class Visit>
void forEachCopy(const KrObject& instance, const Node& root, const Visit& visit) {
    std::vector<std::pair<const KrExtension*, const Node*>> open{{&instance, &root}};
    for (std::size_t i = 0; i < open.size(); ++i) {
        const auto* extension = open[i].first;
        const Node& node = visit(*extension, *open[i].second);
        const auto* object = asObject(extension);
        if (object == nullptr) continue;
        const auto copies = findCopies(*object, node);
        for (std::size_t child = 0; child < copies.size(); ++child) {
            if (copies[child] != nullptr) open.emplace_back(copies[child], &node.children[child]);
        }
    }
}

}  // namespace

std::vector<const KrExtension*> InstanceComparison::_pair() {
    std::vector<const KrExtension*> paired;
    forEachCopy(_instance, _base->getRoot(), [&](const KrExtension& extension, const Node& asSaved) -> const Node& {
        const auto* object = asObject(&extension);
        const auto& node = object != nullptr ? _rebase(*object, asSaved) : asSaved;
        _entries[&extension].node = &node;
        _originals.emplace(&extension, node.id.getRuntimeID());
        _originalIDs.emplace(extension.getContentID().getRuntimeID(), node.id.getRuntimeID());
        paired.push_back(&extension);
        return node;
    });
    return paired;
}

const Node& InstanceComparison::_rebase(const KrObject& inner, const Node& node) {
    const auto& followed = ObjectAccess::base(inner);
    if (&inner == &_instance || !followed || !node.base || followed == node.base) return node;
    // It has followed its own definition since: what it took over there is nothing that the holder of this one chose.
    return _rebased.emplace_back(rebase(node, node.base->getRoot(), followed->getRoot())).front();
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
    if (ExtensionAccess::getPosition(extension) != node.position) entry.own.add(name, KrData::kOwnOrder);
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

void InstanceComparison::_addLost() {
    std::vector<const KrObject*> open{&_instance};
    for (std::size_t i = 0; i < open.size(); ++i) {
        for (const auto& extension : open[i]->getExtensions()) {
            if (ExtensionAccess::isUnknownPlaceholder(*extension)) _readOwn(*extension);
            const auto* child = asObject(extension.get());
            if (child != nullptr && find(*child) != nullptr) open.push_back(child);
        }
    }
}

// --- As a file says ------------------------------------------------------------------------------------------------

void InstanceComparison::_readTree() {
    std::vector<const KrExtension*> open{&_instance};
    for (std::size_t i = 0; i < open.size(); ++i) {
        _readOwn(*open[i]);
        const auto* object = asObject(open[i]);
        if (object == nullptr) continue;
        for (const auto& below : object->getExtensions()) {
            if (getDepthBelow(object->getContentID(), below->getContentID()) > 0) open.push_back(below.get());
        }
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

InnerConnections without(const ConnectionTable& all, const ConnectionTable& others) {
    InnerConnections left;
    for (const auto& [connection, settings] : all) {
        if (others.count(connection) == 0) left.insert(connection);
    }
    return left;
}

/// Those that both have, with other settings.
InnerConnections findChanged(const ConnectionTable& table, const ConnectionTable& other) {
    InnerConnections changed;
    for (const auto& [connection, settings] : table) {
        const auto found = other.find(connection);
        if (found != other.end() && found->second != settings) changed.insert(connection);
    }
    return changed;
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

ToOriginal InstanceComparison::findOriginals(const std::shared_ptr<const DefinitionSnapshot>& now) const {
    if (now == _base) return _originals;
    ToOriginal originals;
    forEachCopy(_instance, now->getRoot(), [&](const KrExtension& extension, const Node& node) -> const Node& {
        originals.emplace(&extension, node.id.getRuntimeID());
        return node;
    });
    return originals;
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
                                                                             const ToOriginal& originals) const {
    const auto present = collectConnections(originals);
    const auto notNow = without(present, now.getConnections());
    const auto changed = findChanged(present, now.getConnections());
    ConnectionChanges changes;
    if (_base) {
        const auto& base = _base->getConnections();
        std::copy_if(notNow.begin(), notNow.end(), std::inserter(changes.outdated, changes.outdated.end()),
                     [&](const auto& each) { return base.count(each) != 0; });
        std::copy_if(changed.begin(), changed.end(), std::inserter(changes.outdated, changes.outdated.end()),
                     [&](const auto& each) {
                         const auto found = base.find(each);
                         return found != base.end() && found->second == present.at(each);
                     });
        changes.removed = _findRemoved(collectConnections(_originals));
        return changes;
    }
    const auto record = _readConnections(originals);
    changes.removed = record.removed;
    if (!OwnRecord::of(_instance).isComplete) return changes;
    for (const auto& outdated : {notNow, changed})
        changes.outdated.merge(without(without(outdated, record.added), record.changed));
    return changes;
}

/// Of the base, by the IDs there. Both ends must have been there, or it was never made.
InnerConnections InstanceComparison::_findRemoved(const ConnectionTable& present) const {
    std::unordered_map<Identifier, Identifier> known;
    for (const auto& [extension, id] : _originals)
        known.emplace(id, id);
    return translate(without(_base->getConnections(), present), known);
}

/// Those that the file has of the whole instance, by the IDs of the definition.
OwnRecord InstanceComparison::_readConnections(const ToOriginal& originals) {
    std::unordered_map<Identifier, Identifier> ids;
    for (const auto& [extension, id] : originals)
        ids.emplace(extension->getContentID().getRawID(), id);
    OwnRecord all;
    for (const auto& [extension, id] : originals) {
        const auto record = OwnRecord::of(*extension);
        all.added.merge(translate(record.added, ids));
        all.removed.merge(translate(record.removed, ids));
        all.changed.merge(translate(record.changed, ids));
    }
    return all;
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
    const auto& base = _base->getConnections();
    const auto present = collectConnections(_originals);
    const auto add = [&](const InnerConnections& connections, InnerConnections OwnRecord::*list) {
        for (const auto& each : translate(connections, copies))
            (records[bySinkID.at(each.sink)].*list).insert(each);
    };
    add(without(present, base), &OwnRecord::added);
    add(without(base, present), &OwnRecord::removed);
    add(findChanged(present, base), &OwnRecord::changed);
    return records;
}

std::vector<KrObject::InstanceDataItem> InstanceComparison::getItems() const {
    std::vector<KrObject::InstanceDataItem> items;
    std::vector<const KrExtension*> open{&_instance};
    for (std::size_t i = 0; i < open.size(); ++i)
        _addItem(*open[i], open, items);
    return items;
}

/// \param open  gets the extensions below that follow the definition, or are lost.
void InstanceComparison::_addItem(const KrExtension& extension, std::vector<const KrExtension*>& open,
                                  std::vector<KrObject::InstanceDataItem>& items) const {
    KrObject::InstanceDataItem item;
    const auto* object = asObject(&extension);
    if (object != nullptr) {
        for (const auto& below : object->getExtensions()) {
            if (find(*below) != nullptr) {
                open.push_back(below.get());
            } else if (object != &_instance) {
                item.content.push_back(below);
            }
        }
    }
    const auto& own = find(extension)->own;
    item.own = own.toPaths();
    if (item.content.empty() && !isWorthKeeping(item.own)) return;
    item.contentID = extension.getContentID();
    item.name = extension.getName();
    item.key = extension.getCreationKey();
    item.position = ExtensionAccess::getPosition(extension);
    item.isObject = object != nullptr;
    item.wasLost = ExtensionAccess::isUnknownPlaceholder(extension);
    item.holder =
        Kr::KrSmartPtr<KrExtension>(extension.getRefCount() > 0 ? const_cast<KrExtension*>(&extension) : nullptr);
    item.fields = copyOwnFields(extension, own);
    items.push_back(std::move(item));
}

}  // namespace KrSim::detail
