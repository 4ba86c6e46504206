#pragma once

#include <deque>
#include <memory>
#include <unordered_map>
#include <vector>

#include "kr/data/field_merge.h"
#include "kr/extension/fwd.h"
#include "kr/extension/internal/definition_snapshot.h"
#include "kr/extension/object.h"
#include "kr/extension/own_record.h"

namespace KrSim::detail {

/// What an instance has of its own: compared with the snapshot that it follows, or, where it was loaded and has
/// followed none yet, as the file says.
class InstanceComparison {
public:
    struct Entry {
        const DefinitionSnapshot::Node* node{nullptr};  // null where there is no base
        KrData::OwnFields own;
    };
    using Originals = ConnectionCollector::ToOriginal;

    explicit InstanceComparison(const KrObject& instance);

    [[nodiscard]] bool hasBase() const noexcept { return _base != nullptr; }
    /// Which extensions of the instance are copies of which ones of the definition as it is now.
    [[nodiscard]] Originals findOriginals(const std::shared_ptr<const DefinitionSnapshot>& now) const;
    /// Of an extension that follows one of the definition, or is lost; null for others.
    [[nodiscard]] const Entry* find(const KrExtension& extension) const;
    [[nodiscard]] std::vector<KrObject::InstanceDataItem> getItems() const;
    /// As files keep it, for every extension that follows one of the definition; empty ones included.
    [[nodiscard]] std::unordered_map<const KrExtension*, OwnRecord> getRecords() const;

    /// The connections within the instance that are to go, as the definition has them no more, and those of the
    /// definition that the holder has removed; both by the IDs of the definition.
    struct ConnectionChanges {
        InnerConnections outdated;
        InnerConnections removed;
    };
    [[nodiscard]] ConnectionChanges compareConnections(const DefinitionSnapshot& now, const Originals& originals) const;

    /// Whether the connection is not one of the definition: it leads out of the instance, or its user made it.
    [[nodiscard]] bool isOwn(const Kr::KrConnectionBase& connection) const;
    /// All connections between these.
    [[nodiscard]] static InnerConnections collectConnections(const Originals& originals);

private:
    [[nodiscard]] const DefinitionSnapshot::Node& _rebase(const KrObject& inner, const DefinitionSnapshot::Node& node);
    void _compare(const KrExtension& extension, const DefinitionSnapshot::Node& node);
    void _pair(const KrExtension& extension, const DefinitionSnapshot::Node& asSaved,
               std::vector<const KrExtension*>& order);
    void _readTree(const KrExtension& extension);
    void _readOwn(const KrExtension& extension);
    void _addLost(const KrObject& object);
    void _addItems(const KrExtension& extension, std::vector<KrObject::InstanceDataItem>& items) const;
    [[nodiscard]] bool _isSameReference(const DefinitionSnapshot::Node& node, const KrData::FieldBase& field,
                                        const KrData::FieldBase& base) const;

    const KrObject& _instance;
    std::shared_ptr<const DefinitionSnapshot> _base;
    Originals _originals;  // by the base
    std::unordered_map<Identifier, Identifier> _originalIDs;
    std::unordered_map<const KrExtension*, Entry> _entries;
    std::deque<DefinitionSnapshot::Node> _rebased;
};

}  // namespace KrSim::detail
