#include "kr/extension/clone_map.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "kr/core/connection_base.h"
#include "kr/data/container.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"

namespace KrSim {

KrCloneMap::KrCloneMap() = default;
KrCloneMap::~KrCloneMap() = default;

void KrCloneMap::add(const KrExtension* source, KrExtension* clone) {
    if (!_clones.emplace(source, clone).second) return;
    // One that nobody holds, on the stack say, must not meet a holder.
    const auto holderOf = [](const Kr::KrRefCount& extension) {
        return Kr::KrSmartPtr<const Kr::KrRefCount>(extension.getRefCount() > 0 ? &extension : nullptr);
    };
    _pairs.push_back({source, clone, holderOf(*source), holderOf(*clone)});
}

KrExtension* KrCloneMap::find(const KrExtension* source) const {
    const auto found = _clones.find(source);
    return found != _clones.end() ? found->second : nullptr;
}

namespace {

/// The field of the clone that stands where `field` stands in its source, or null. Places and identifiers of fields
/// are the same in both, but for fields that an implementation adds by its own mind.
KrData::FieldBase* findCounterpart(const KrData::FieldBase& field, KrExtension& clone) {
    const auto* parent = field.getParent();
    if (parent == nullptr) return &clone.getFieldsContainer();
    auto* above = findCounterpart(*parent, clone);
    if (above == nullptr || above->getDataType() != KrData::Types::kContainer) return nullptr;
    auto& group = static_cast<KrData::Container&>(*above);
    const auto found = group.find(field.getID());
    return found != group.end() ? *found : nullptr;
}

/// Instances that are brought in line once more have most of their connections.
bool isConnected(const KrData::FieldBase& source, const KrData::FieldBase& sink) {
    const auto& connections = source._getOutgoingConnections();
    return std::any_of(connections.begin(), connections.end(),
                       [&](const auto* connection) { return connection->getSink() == &sink; });
}

void copyConnectionsOf(const KrData::FieldBase& field, KrExtension& clone, const KrCloneMap& clones) {
    for (const auto* connection : field._getOutgoingConnections()) {
        auto* sink = connection->getSink();
        auto* sinkClone = sink != nullptr ? clones.find(sink->getOwnerExtension()) : nullptr;
        if (sinkClone == nullptr) continue;
        auto* newSource = findCounterpart(field, clone);
        auto* newSink = findCounterpart(*sink, *sinkClone);
        if (newSource == nullptr || newSink == nullptr || isConnected(*newSource, *newSink)) continue;
        std::unique_ptr<Kr::KrConnectionBase> made(connection->_createBetween(*newSource, *newSink));
        if (made) clone.getFieldsContainer()._ownConnection(std::move(made));
    }
    for (const auto* child : field.getChildren())
        copyConnectionsOf(*child, clone, clones);
}

}  // namespace

void KrCloneMap::_copyConnections() const {
    for (const auto& pair : _pairs)
        copyConnectionsOf(pair.source->getFieldsContainer(), *pair.clone, *this);
}

void KrCloneMap::_synchronizeImplementations() const {
    for (const auto& pair : _pairs)
        pair.clone->_synchronizeImplementation(pair.source->getImplementation());
}

}  // namespace KrSim
