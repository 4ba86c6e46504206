#include "kr/extension/clone_map.h"

#include <memory>
#include <utility>

#include "kr/core/connection_access.h"
#include "kr/core/connection_base.h"
#include "kr/data/field_access.h"
#include "kr/data/field_copying.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object_access.h"

namespace KrSim {

using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;

KrCloneMap::KrCloneMap() = default;
KrCloneMap::~KrCloneMap() = default;

void KrCloneMap::add(const KrExtension* source, KrExtension* clone, Values values) {
    if (!_clones.emplace(source, clone).second) return;
    // An extension without holders, as on the stack, would be destroyed with the first one.
    const auto holderOf = [](const Kr::KrRefCount& extension) {
        return Kr::KrSmartPtr<const Kr::KrRefCount>(extension.getRefCount() > 0 ? &extension : nullptr);
    };
    _pairs.push_back({source, clone, values, holderOf(*source), holderOf(*clone)});
}

KrExtension* KrCloneMap::find(const KrExtension* source) const {
    const auto found = _clones.find(source);
    return found != _clones.end() ? found->second : nullptr;
}

KrData::FieldBase* KrCloneMap::findField(const KrData::FieldBase& original) const {
    auto* clone = find(original.getOwnerExtension());
    return clone != nullptr ? KrData::_findCounterpart(original, clone->getFieldsContainer()) : nullptr;
}

// --- Links, connections, values ------------------------------------------------------------------------------------

void KrCloneMap::_complete(const ConnectionFilter& mayConnect) const {
    for (const auto& pair : _pairs) {
        if (pair.values == Values::kOwn) continue;
        for (auto* group : pair.clone->getFieldsContainer()._getGroups()) {
            const auto& source = pair.source->getFieldsContainer()[group->getID()];
            KrData::_copyLinks(*group, static_cast<const KrData::Container&>(source), *this);
        }
    }
    for (const auto& pair : _pairs)
        _copyConnectionsOf(pair.source->getFieldsContainer(), pair, mayConnect);
    for (const auto& pair : _pairs)
        _copyValuesOf(pair);
}

void KrCloneMap::_copyConnectionsOf(const KrData::FieldBase& field, const Pair& pair,
                                    const ConnectionFilter& mayConnect) const {
    if (FieldAccess::hasOutgoingConnections(field)) _copyOutgoing(field, pair, mayConnect);
    for (const auto* child : field.getChildren())
        _copyConnectionsOf(*child, pair, mayConnect);
}

void KrCloneMap::_copyOutgoing(const KrData::FieldBase& field, const Pair& pair,
                               const ConnectionFilter& mayConnect) const {
    auto* source = findField(field);
    if (source == nullptr) return;
    std::unordered_map<const KrData::FieldBase*, std::size_t> present;  // by sink; instances have most of them
    for (const auto* connection : FieldAccess::getOutgoingConnections(*source))
        if (!ConnectionAccess::isContentOfOther(*connection)) ++present[connection->getSink()];
    for (const auto* connection : FieldAccess::getOutgoingConnections(field)) {
        if (ConnectionAccess::isContentOfOther(*connection)) continue;
        auto* sink = connection->getSink() != nullptr ? findField(*connection->getSink()) : nullptr;
        if (sink == nullptr || (mayConnect && !mayConnect(field, *connection->getSink()))) continue;
        if (auto& count = present[sink]; count != 0) {
            --count;
            continue;
        }
        std::unique_ptr<Kr::KrConnectionBase> made(ConnectionAccess::createBetween(*connection, *source, *sink));
        if (made) pair.clone->getFieldsContainer()._ownConnection(std::move(made));
    }
}

void KrCloneMap::_copyValuesOf(const Pair& pair) const {
    std::vector<KrData::FieldBase*> changed;
    for (auto* group : pair.clone->getFieldsContainer()._getGroups()) {
        if (pair.values == Values::kOwn) {
            KrData::_redirectReferences(*group, *this, changed);
        } else {
            const auto& source = pair.source->getFieldsContainer()[group->getID()];
            KrData::_copyValues(*group, static_cast<const KrData::Container&>(source), *this, changed);
        }
    }
    pair.clone->_tellRestored(changed);
}

// --- Definitions ---------------------------------------------------------------------------------------------------

void KrCloneMap::_redirectDefinitions() const {
    std::vector<std::pair<const KrObject*, KrObject*>> redirected;
    for (const auto& pair : _pairs) {
        auto* instance = detail::asObject(pair.clone);
        auto* definition = instance != nullptr ? detail::asObject(find(instance->getDefinition())) : nullptr;
        if (definition == nullptr) continue;
        instance->_definition.setTarget(definition);
        redirected.emplace_back(static_cast<const KrObject*>(pair.source), instance);
    }
    bool isRedirected = !redirected.empty();
    // IDs are derived from others that are derived themselves: as often as definitions are nested.
    constexpr int kDeepest = 64;
    for (int i = 0; isRedirected && i < kDeepest; ++i)
        isRedirected = _redirectIDs();
    for (const auto& [original, instance] : redirected)
        instance->_takeOwnRecords(*original, *this);
}

bool KrCloneMap::_redirectIDs() const {
    std::unordered_map<KrContentID::Identifier, const KrExtension*> clones;  // by the IDs of their sources
    for (const auto& pair : _pairs)
        clones.emplace(pair.source->getContentID().getRuntimeID(), pair.clone);
    bool isChanged = false;
    for (const auto& pair : _pairs) {
        const auto* owner = pair.clone->getOwner();
        const auto& chain = pair.source->getContentID().getParentInstances();
        if (owner == nullptr || chain.size() < 2) continue;
        const auto part = clones.find(chain.back().getRuntimeID());  // of the definition
        if (part == clones.end()) continue;
        const auto id = KrContentID::createFromParentInstance(owner->getContentID(), part->second->getContentID());
        if (id == pair.clone->getContentID()) continue;
        pair.clone->_setContentID(id);
        isChanged = true;
    }
    return isChanged;
}

// --- Instances -----------------------------------------------------------------------------------------------------

void KrCloneMap::_followMessages(const KrObject& instance) const {
    for (const auto& pair : _pairs) {
        auto& fields = pair.clone->getFieldsContainer();
        const auto& source = pair.source->getFieldsContainer();
        // The messages of a new part were copied with its fields; those of the instance itself never are.
        const bool isCopy = pair.values == Values::kOfSource && pair.clone != &instance;
        fields.getErrors()._follow(source.getErrors(), isCopy);
        fields.getInfos()._follow(source.getInfos(), isCopy);
    }
}

void KrCloneMap::_synchronizeImplementations() const {
    for (const auto& pair : _pairs) {
        // A clone that existed before keeps its contents.
        if (pair.values == Values::kOfSource) {
            pair.clone->_synchronizeImplementation(pair.source->getImplementation());
        }
    }
}

}  // namespace KrSim
