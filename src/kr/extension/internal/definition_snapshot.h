#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/data/container.h"
#include "kr/data/field_merge.h"
#include "kr/extension/connection_settings.h"
#include "kr/extension/fwd.h"
#include "kr/extension/own_record.h"
#include "kr/platform/uuid.h"

namespace KrSim::detail {

using Identifier = KrContentID::Identifier;

/// The target of a reference field: extensions, and for the links of a proxy the paths of fields.
struct ReferenceTarget {
    Identifier extension;
    std::string path;

    friend bool operator==(const ReferenceTarget&, const ReferenceTarget&) = default;
};
using ReferenceTargets = std::vector<ReferenceTarget>;
[[nodiscard]] ReferenceTargets describeReferences(const KrData::FieldBase& field);

/// Connections with their settings.
using ConnectionTable = std::map<InnerConnection, ConnectionSettings>;
using ToOriginal = std::unordered_map<const KrExtension*, Identifier>;

/// The connections between the extensions of a tree.
/// \param toOriginal  maps extensions to their IDs in the result; others are ignored.
[[nodiscard]] ConnectionTable collectConnections(const ToOriginal& toOriginal);

/// A definition at one time: the base with which its instances are compared. Constant; one for each version of a
/// definition, shared by the instances that follow that version.
class DefinitionSnapshot {
public:
    struct Node {
        KrContentID id;  ///< in the definition
        KrUuid type;
        std::string name;
        std::uint64_t position{0};
        Identifier definition;                           ///< of an inner instance
        std::shared_ptr<const DefinitionSnapshot> base;  ///< the base of the inner instance
        std::vector<std::unique_ptr<KrData::Container>> groups;
        std::unordered_map<const KrData::FieldBase*, ReferenceTargets> references;
        std::span<const Node> children;  ///< in the same list
    };
    /// A tree, level by level; the first one is the root. May be moved, but not copied.
    using Nodes = std::vector<Node>;

    /// The snapshot of the current definition: `latest`, when nothing has changed since.
    [[nodiscard]] static std::shared_ptr<const DefinitionSnapshot> take(
        const KrObject& definition, std::shared_ptr<const DefinitionSnapshot> latest);

    [[nodiscard]] const Node& getRoot() const noexcept { return _nodes.front(); }
    [[nodiscard]] const Nodes& getNodes() const noexcept { return _nodes; }
    [[nodiscard]] const ConnectionTable& getConnections() const noexcept { return _connections; }

private:
    Nodes _nodes;
    ConnectionTable _connections;
};

/// An inner instance at the place of `node`, had it followed `to` instead of `from` in the definition that holds it.
[[nodiscard]] DefinitionSnapshot::Nodes rebase(const DefinitionSnapshot::Node& node,
                                               const DefinitionSnapshot::Node& from,
                                               const DefinitionSnapshot::Node& to);

/// How the groups of an extension are merged: values of outputs are state.
[[nodiscard]] KrData::MergeRules rulesFor(const KrData::Container& group);

}  // namespace KrSim::detail
