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

    explicit InstanceComparison(const KrObject& instance);

    [[nodiscard]] bool hasBase() const noexcept { return _base != nullptr; }
    /// Which extensions of the instance are copies of which ones of the definition as it is now.
    [[nodiscard]] ToOriginal findOriginals(const std::shared_ptr<const DefinitionSnapshot>& now) const;
    /// Of an extension that follows one of the definition, or is lost; null for others.
    [[nodiscard]] const Entry* find(const KrExtension& extension) const;
    [[nodiscard]] std::vector<KrObject::InstanceDataItem> getItems() const;
    /// As files keep it, for every extension that follows one of the definition; empty ones included.
    [[nodiscard]] std::unordered_map<const KrExtension*, OwnRecord> getRecords() const;

    /// By the IDs of the definition.
    struct ConnectionChanges {
        InnerConnections outdated;  ///< to be ended: the definition has them no more, or has other settings for them
        InnerConnections removed;   ///< those of the definition that the holder has ended
    };
    [[nodiscard]] ConnectionChanges compareConnections(const DefinitionSnapshot& now,
                                                       const ToOriginal& originals) const;

    /// Whether the connection is not one of the definition: it leads out of the instance, or its user made it.
    [[nodiscard]] bool isOwn(const Kr::KrConnectionBase& connection) const;

private:
    [[nodiscard]] const DefinitionSnapshot::Node& _rebase(const KrObject& inner, const DefinitionSnapshot::Node& node);
    void _compare(const KrExtension& extension, const DefinitionSnapshot::Node& node);
    [[nodiscard]] std::vector<const KrExtension*> _pair();
    void _readTree();
    void _readOwn(const KrExtension& extension);
    void _addLost();
    void _addItem(const KrExtension& extension, std::vector<const KrExtension*>& open,
                  std::vector<KrObject::InstanceDataItem>& items) const;
    [[nodiscard]] InnerConnections _findRemoved(const ConnectionTable& present) const;
    [[nodiscard]] static OwnRecord _readConnections(const ToOriginal& originals);
    [[nodiscard]] bool _isSameReference(const DefinitionSnapshot::Node& node, const KrData::FieldBase& field,
                                        const KrData::FieldBase& base) const;

    const KrObject& _instance;
    std::shared_ptr<const DefinitionSnapshot> _base;
    ToOriginal _originals;  // by the base
    std::unordered_map<Identifier, Identifier> _originalIDs;
    std::unordered_map<const KrExtension*, Entry> _entries;
    std::deque<DefinitionSnapshot::Nodes> _rebased;
};

}  // namespace KrSim::detail
