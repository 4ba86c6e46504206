#include "kr/extension/internal/definition_snapshot.h"

#include <algorithm>
#include <utility>

#include "kr/core/connection_access.h"
#include "kr/core/connection_base.h"
#include "kr/data/field_access.h"
#include "kr/data/proxy.h"
#include "kr/data/stored_path.h"
#include "kr/data/vector.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/placed_content.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"

namespace KrSim::detail {

using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;

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

namespace {

void collectFrom(const KrData::FieldBase& field, const Identifier& source, const ToOriginal& toOriginal,
                 ConnectionTable& found) {
    if (FieldAccess::hasOutgoingConnections(field)) {
        for (const auto* connection : FieldAccess::getOutgoingConnections(field)) {
            const auto* sink = connection->getSink();
            const auto to = sink != nullptr ? toOriginal.find(sink->getOwnerExtension()) : toOriginal.end();
            if (to == toOriginal.end() || ConnectionAccess::isContentOfOther(*connection)) continue;
            found.emplace(
                InnerConnection{source, KrData::_getStoredPath(field), to->second, KrData::_getStoredPath(*sink)},
                ConnectionSettings::of(*connection));
        }
    }
    for (const auto* child : field.getChildren())
        collectFrom(*child, source, toOriginal, found);
}

}  // namespace

ConnectionTable collectConnections(const ToOriginal& toOriginal) {
    ConnectionTable found;
    for (const auto& [extension, id] : toOriginal)
        collectFrom(extension->getFieldsContainer(), id, toOriginal, found);
    return found;
}

KrData::MergeRules rulesFor(const KrData::Container& group) {
    KrData::MergeRules rules;
    rules.withValues = group.getFieldType() != KrData::Types::kOutput;
    return rules;
}

// --- Taking --------------------------------------------------------------------------------------------------------

namespace {

using Node = DefinitionSnapshot::Node;
using Nodes = DefinitionSnapshot::Nodes;

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
    return object != nullptr ? ObjectAccess::base(*object) : nullptr;
}

Node takeNode(const KrExtension& extension) {
    Node node;
    node.id = extension.getContentID();
    node.type = extension.getCreationKey().uuid;
    node.name = extension.getName();
    node.position = ExtensionAccess::getPosition(extension);
    node.definition = definitionOf(extension);
    node.base = baseOf(extension);
    for (const auto* group : groupsOf(extension)) {
        std::unique_ptr<KrData::Container> copy(group->clone(nullptr));
        node.groups.push_back(std::move(copy));
        noteReferences(node, *node.groups.back(), *group);
    }
    return node;
}

std::size_t countBelow(const KrExtension& extension) {
    const auto* object = asObject(&extension);
    return object != nullptr ? object->getExtensions().size() : 0;
}

/// Gives nodes that lie level by level their children.
/// \param countOf  tells how many the node at an index has.
template <class CountOf>
void linkChildren(Nodes& nodes, const CountOf& countOf) {
    std::size_t next = 1;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const std::size_t count = countOf(i);
        nodes[i].children = {nodes.data() + next, count};
        next += count;
    }
}

bool isSame(const KrExtension& extension, const Node& node) {
    if (extension.getContentID() != node.id || extension.getCreationKey().uuid != node.type ||
        extension.getName() != node.name || ExtensionAccess::getPosition(extension) != node.position ||
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
    return countBelow(extension) == node.children.size();
}

bool areSame(const std::vector<KrExtension*>& extensions, const Nodes& nodes) {
    return std::equal(extensions.begin(), extensions.end(), nodes.begin(), nodes.end(),
                      [](const auto* extension, const Node& node) { return isSame(*extension, node); });
}

}  // namespace

std::shared_ptr<const DefinitionSnapshot> DefinitionSnapshot::take(const KrObject& definition,
                                                                   std::shared_ptr<const DefinitionSnapshot> latest) {
    const auto extensions = collectTree(definition);
    ToOriginal ids;
    for (const auto* extension : extensions)
        ids.emplace(extension, extension->getContentID().getRuntimeID());
    auto connections = collectConnections(ids);
    if (latest && connections == latest->_connections && areSame(extensions, latest->_nodes)) return latest;
    auto made = std::make_shared<DefinitionSnapshot>();
    made->_nodes.reserve(extensions.size());
    for (const auto* extension : extensions)
        made->_nodes.push_back(takeNode(*extension));
    linkChildren(made->_nodes, [&](std::size_t i) { return countBelow(*extensions[i]); });
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

/// All but the children.
Node rebaseOne(const Node& node, const Node& from, const Node& to) {
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
    return rebased;
}

}  // namespace

Nodes rebase(const Node& node, const Node& from, const Node& to) {
    struct Step {
        const Node* node;
        const Node* from;
        const Node* to;
    };
    std::vector<Step> steps{{&node, &from, &to}};
    Nodes rebased;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const auto step = steps[i];
        rebased.push_back(rebaseOne(*step.node, *step.from, *step.to));
        const auto before = indexPlaced(*step.from, *step.node);
        const auto after = indexPlaced(*step.to, *step.node);
        for (const auto& child : step.node->children) {
            const auto childFrom = before.find(child.id.getRuntimeID());
            const auto childTo = after.find(child.id.getRuntimeID());
            const bool isInBoth = childFrom != before.end() && childTo != after.end();
            steps.push_back({&child, isInBoth ? childFrom->second : &child, isInBoth ? childTo->second : &child});
        }
    }
    linkChildren(rebased, [&](std::size_t i) { return steps[i].node->children.size(); });
    return rebased;
}

}  // namespace KrSim::detail
