#pragma once

#include <exception>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kr/extension/clone_map.h"
#include "kr/extension/internal/instance_comparison.h"
#include "kr/extension/internal/outside_connections.h"
#include "kr/extension/object.h"

namespace KrSim::detail {

/// One synchronisation of an instance with its definition.
///
/// Extensions and fields of the instance remain the same objects, and change only where the definition has changed and
/// the instance has no own data. Thread: application.
class InstanceSync {
public:
    /// \param values  of the instance itself: those of the definition for a new instance.
    InstanceSync(KrObject& instance, const KrObject& definition, KrCloneMap::Values values);

    /// The exception that was thrown; null without one. After std::bad_alloc the next run completes the work; after an
    /// exception of other code the rest has been done nevertheless.
    [[nodiscard]] std::exception_ptr run();

private:
    struct Level;

    /// Continues after an exception of other code, as of an error that was logged: the failed part is missing.
    template <class Step>
    void _try(const Step& step);
    void _followAll();
    [[nodiscard]] Level _begin(KrObject& object, const KrObject& definition, bool isInner);
    void _followPart(Level& level, std::vector<Level>& levels);
    void _followFields(KrExtension& extension, const KrExtension& definition, bool isInner);
    void _followReference(KrData::FieldBase& field, const KrData::FieldBase& source);
    void _followLinks();
    void _reportMissing(const KrData::Proxy& proxy, const KrExtension& owner) const;
    void _followDefinition(KrObject& object, const KrObject& definition);
    void _followNameAndPlace(KrObject& owner, KrExtension& extension, const KrExtension& definition);
    void _followName(KrExtension& extension, const KrExtension& definition) const;
    void _removeOthers(KrObject& object, const std::vector<Kr::KrSmartPtr<KrExtension>>& copies);
    void _add(KrObject& owner, KrExtension& definition, const KrContentID& id, bool isInner);
    void _settleTree(const KrExtension& top, bool isTopInner);
    void _endConnections(const InnerConnections& connections);
    [[nodiscard]] bool _mayConnect(const KrData::FieldBase& source, const KrData::FieldBase& sink) const;
    void _pair(const KrExtension& original, KrExtension& copy, KrCloneMap::Values values);
    void _dropRecords() const;

    KrObject& _instance;
    const KrObject& _definition;
    KrCloneMap::Values _values;
    InstanceComparison _comparison;
    const OutsideConnections::IsOwn _isOwnConnection{
        [this](const Kr::KrConnectionBase& connection) { return _comparison.isOwn(connection); }};
    std::shared_ptr<const DefinitionSnapshot> _now;
    ToOriginal _originals;  // of the extensions that existed before, by the current definition
    std::unordered_map<Identifier, Identifier> _originalIDs;
    std::unordered_set<Identifier> _definitionIDs;
    InnerConnections _removedConnections;
    std::vector<std::pair<KrData::FieldReference, KrData::FieldReference>> _proxies;  // with those that they follow
    std::vector<KrData::FieldReference> _originalsOfNewProxies;
    KrCloneMap _pairs;  // holds all extensions that are followed
    std::vector<std::pair<const KrExtension*, KrExtension*>> _followed;
    std::exception_ptr _failure;
};

}  // namespace KrSim::detail
