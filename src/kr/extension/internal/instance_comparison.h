#pragma once

#include <deque>
#include <memory>
#include <unordered_map>
#include <vector>

#include "kr/data/field_merge.h"
#include "kr/extension/fwd.h"
#include "kr/extension/instance_data.h"
#include "kr/extension/internal/definition_snapshot.h"
#include "kr/extension/own_record.h"

namespace KrSim::detail {

/// The own data of an instance: found by comparison with the snapshot that it follows, or, if it was loaded and has
/// followed none yet, read from the file.
class InstanceComparison {
public:
    struct Entry {
        const DefinitionSnapshot::Node* node{nullptr};  // null without a base
        KrData::OwnFields own;
    };

    explicit InstanceComparison(const KrObject& instance);

    [[nodiscard]] bool hasBase() const noexcept { return _base != nullptr; }
    /// Whether the file had only what is its own.
    [[nodiscard]] bool isOwnOnly() const noexcept { return _isOwnOnly; }
    /// The extensions of the instance that are copies of extensions of the current definition.
    [[nodiscard]] ToOriginal findOriginals(const std::shared_ptr<const DefinitionSnapshot>& now) const;
    /// For an extension that follows one of the definition, or is lost; null for others.
    [[nodiscard]] const Entry* find(const KrExtension& extension) const;
    [[nodiscard]] std::vector<KrObject::InstanceDataItem> getItems() const;
    /// In the form of files, for every extension that follows one of the definition; including empty ones.
    [[nodiscard]] std::unordered_map<const KrExtension*, OwnRecord> getRecords() const;

    /// By the IDs of the definition.
    struct ConnectionChanges {
        InnerConnections outdated;  ///< to be ended: the definition has them no more, or with other settings
        InnerConnections removed;   ///< connections of the definition that the holder has ended
    };
    [[nodiscard]] ConnectionChanges compareConnections(const DefinitionSnapshot& now,
                                                       const ToOriginal& originals) const;

    /// Whether the connection does not belong to the definition: it leads out of the instance, or its user made it.
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
    bool _isOwnOnly;
    ToOriginal _originals;  // by the base
    std::unordered_map<Identifier, Identifier> _originalIDs;
    std::unordered_map<const KrExtension*, Entry> _entries;
    std::deque<DefinitionSnapshot::Nodes> _rebased;
};

}  // namespace KrSim::detail
