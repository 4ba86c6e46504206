#include "kr/extension/internal/definition_snapshot.h"

#include <utility>

#include "kr/core/connection_base.h"
#include "kr/data/proxy.h"
#include "kr/data/stored_path.h"
#include "kr/data/vector.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/object_access.h"
#include "kr/extension/internal/placed_content.h"
#include "kr/extension/object.h"

namespace KrSim::detail {

// --- References and connections ------------------------------------------------------------------------------------

namespace {

Identifier idOf(const KrExtension* extension) {
    return extension != nullptr ? extension->getContentID().getRuntimeID() : Identifier();
}

}  // namespace

ReferenceTargets describeReferences(const KrData::FieldBase& field) {
    ReferenceTargets targets;
    if (field.getDataType() == KrData::Types::kProxy) {
        const auto& proxy = static_cast<const KrData::Proxy&>(field);
        for (std::size_t i = 0; i < proxy.getLinkCount(); ++i) {
            const auto& link = proxy.getLink(i);
            targets.push_back({link.getContentReference().getContentID().getRuntimeID(), link.getFieldPath()});
        }
    } else if (const auto* items = KrData::Vector<KrExtension*>::from(field)) {
        for (std::size_t i = 0; i < items->size(); ++i)
            targets.push_back({idOf(items->getItem(i)), {}});
    } else {
        targets.push_back({idOf(field.toExtension()), {}});
    }
    return targets;
}

void ConnectionCollector::collect(const KrExtension& extension) {
    const auto source = _toOriginal.find(&extension);
    if (source != _toOriginal.end()) _collect(extension.getFieldsContainer(), source->second);
}

void ConnectionCollector::_collect(const KrData::FieldBase& field, const Identifier& source) {
    if (field._hasOutgoingConnections()) {
        for (const auto* connection : field._getOutgoingConnections()) {
            const auto* sink = connection->getSink();
            const auto found = sink != nullptr ? _toOriginal.find(sink->getOwnerExtension()) : _toOriginal.end();
            if (found == _toOriginal.end()) continue;
            _found.insert({source, KrData::_getStoredPath(field), found->second, KrData::_getStoredPath(*sink)});
        }
    }
    for (const auto* child : field.getChildren())
        _collect(*child, source);
}

KrData::MergeRules rulesFor(const KrData::Container& group) {
    KrData::MergeRules rules;
    rules.withValues = group.getFieldType() != KrData::Types::kOutput;
    return rules;
}

// --- Taking --------------------------------------------------------------------------------------------------------

namespace {

using Node = DefinitionSnapshot::Node;

std::vector<const KrData::Container*> groupsOf(const KrExtension& extension) {
    const auto& fields = extension.getFieldsContainer();
    return {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()};
}

void noteReferences(Node& node, const KrData::FieldBase& copy, const KrData::FieldBase& field) {
    if (KrData::isReferenceField(field)) node.references.emplace(&copy, describeReferences(field));
    const auto& copies = copy.getChildren();
    const auto& fields = field.getChildren();
    // A field without a copy of its kind shifts the others.
    for (std::size_t i = 0, j = 0; i < copies.size() && j < fields.size(); ++j) {
        if (copies[i]->getID() == fields[j]->getID()) noteReferences(node, *copies[i++], *fields[j]);
    }
}

Identifier definitionOf(const KrExtension& extension) {
    const auto* object = asObject(&extension);
    return object != nullptr && object->isInstance() ? object->getDefinitionReference().getContentID().getRuntimeID()
                                                     : Identifier();
}

std::shared_ptr<const DefinitionSnapshot> baseOf(const KrExtension& extension) {
    const auto* object = asObject(&extension);
    return object != nullptr ? object->_getBase() : nullptr;
}

Node takeNode(const KrExtension& extension) {
    Node node;
    node.id = extension.getContentID();
    node.type = extension.getCreationKey().uuid;
    node.name = extension.getName();
    node.position = extension._getPosition();
    node.definition = definitionOf(extension);
    node.base = baseOf(extension);
    for (const auto* group : groupsOf(extension)) {
        node.groups.emplace_back(group->clone(nullptr));
        noteReferences(node, *node.groups.back(), *group);
    }
    if (const auto* object = asObject(&extension)) {
        for (const auto& below : object->_getExtensions())
            node.children.push_back(takeNode(*below));
    }
    return node;
}

bool isSame(const KrExtension& extension, const Node& node) {
    if (extension.getContentID() != node.id || extension.getCreationKey().uuid != node.type ||
        extension.getName() != node.name || extension._getPosition() != node.position ||
        definitionOf(extension) != node.definition || baseOf(extension) != node.base) {
        return false;
    }
    const auto groups = groupsOf(extension);
    for (std::size_t i = 0; i < groups.size(); ++i) {
        auto rules = rulesFor(*groups[i]);
        rules.isSameReference = [&](const KrData::FieldBase& field, const KrData::FieldBase& base) {
            const auto found = node.references.find(&base);
            return found != node.references.end() && describeReferences(field) == found->second;
        };
        if (!areSameFields(*groups[i], *node.groups[i], rules)) return false;
    }
    const auto* object = asObject(&extension);
    if (object == nullptr) return node.children.empty();
    const auto extensions = object->_getExtensions();
    if (extensions.size() != node.children.size()) return false;
    std::size_t place = 0;
    for (const auto& below : extensions) {
        if (!isSame(*below, node.children[place++])) return false;
    }
    return true;
}

void addTree(const KrExtension& extension, ConnectionCollector::ToOriginal& ids) {
    ids.emplace(&extension, extension.getContentID().getRuntimeID());
    const auto* object = asObject(&extension);
    if (object == nullptr) return;
    for (const auto& below : object->_getExtensions())
        addTree(*below, ids);
}

}  // namespace

std::shared_ptr<const DefinitionSnapshot> DefinitionSnapshot::take(const KrObject& definition,
                                                                   std::shared_ptr<const DefinitionSnapshot> latest) {
    ConnectionCollector::ToOriginal ids;
    addTree(definition, ids);
    ConnectionCollector collector(ids);
    for (const auto& [extension, id] : ids)
        collector.collect(*extension);
    auto connections = collector.take();
    if (latest && connections == latest->_connections && isSame(definition, latest->_root)) return latest;
    auto made = std::make_shared<DefinitionSnapshot>();
    made->_root = takeNode(definition);
    made->_connections = std::move(connections);
    return made;
}

// --- Rebasing ------------------------------------------------------------------------------------------------------

namespace {

void copyReferences(const KrData::FieldBase& field, const KrData::FieldBase& copy, const Node& node, Node& rebased) {
    if (const auto found = node.references.find(&field); found != node.references.end()) {
        rebased.references.emplace(&copy, found->second);
    }
    const auto& children = field.getChildren();
    for (std::size_t i = 0; i < children.size() && i < copy.getChildren().size(); ++i)
        copyReferences(*children[i], *copy.getChildren()[i], node, rebased);
}

void followGroup(KrData::Container& group, const KrData::Container& from, const KrData::Container& to) {
    auto rules = rulesFor(group);
    rules.isInner = true;
    rules.isSameReference = [](const auto&, const auto&) { return false; };  // they lead to parts of either tree
    KrData::OwnFields own;
    findOwnFields(group, from, rules, own);
    static_cast<void>(followFields(group, to, own, rules));
}

using NodesByID = std::unordered_map<Identifier, const Node*>;

/// The children of one node by the IDs that their copies have in another one.
NodesByID indexPlaced(const Node& holder, const Node& placedHolder) {
    NodesByID nodes;
    for (const auto& each : holder.children)
        nodes.emplace(placeCopy(placedHolder.id, holder.id, each.id).getRuntimeID(), &each);
    return nodes;
}

}  // namespace

Node rebase(const Node& node, const Node& from, const Node& to) {
    Node rebased;
    rebased.id = node.id;
    rebased.type = node.type;
    rebased.name = node.name == from.name ? to.name : node.name;
    rebased.position = node.position == from.position ? to.position : node.position;
    rebased.definition = node.definition;
    rebased.base = node.base;
    for (std::size_t i = 0; i < node.groups.size(); ++i) {
        rebased.groups.emplace_back(node.groups[i]->clone(nullptr));
        copyReferences(*node.groups[i], *rebased.groups[i], node, rebased);
        followGroup(*rebased.groups[i], *from.groups[i], *to.groups[i]);
    }
    const auto before = indexPlaced(from, node);
    const auto after = indexPlaced(to, node);
    for (const auto& child : node.children) {
        const auto childFrom = before.find(child.id.getRuntimeID());
        const auto childTo = after.find(child.id.getRuntimeID());
        const bool isInBoth = childFrom != before.end() && childTo != after.end();
        rebased.children.push_back(
            rebase(child, isInBoth ? *childFrom->second : child, isInBoth ? *childTo->second : child));
    }
    return rebased;
}

}  // namespace KrSim::detail
