#include "kr/extension/internal/outside_connections.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "kr/data/field_copying.h"
#include "kr/data/stored_path.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/object_access.h"
#include "kr/platform/log.h"

namespace KrSim::detail {

namespace {

/// The extension and all below it, level by level.
std::vector<const KrExtension*> collect(const KrExtension& extension) {
    std::vector<const KrExtension*> all{&extension};
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto* object = asObject(all[i]);
        if (object == nullptr) continue;
        for (const auto& below : object->_getExtensions())
            all.push_back(below.get());
    }
    return all;
}

/// The names from below the instance down to the part.
std::string pathBelow(const KrObject& instance, const KrExtension& part) {
    auto path = part.getName();
    for (const auto* owner = part.getOwner(); owner != nullptr && owner != &instance; owner = owner->getOwner())
        path.insert(0, owner->getName() + "/");
    return path;
}

KrData::FieldBase* findField(const KrExtension* extension, const std::string& path) {
    return extension != nullptr ? KrData::_findStoredPath(extension->getFieldsContainer(), path) : nullptr;
}

/// A copy of the field in a container of its role.
KrData::FieldBase* copyInto(std::unique_ptr<KrData::Container>& holder, const KrData::FieldBase& field) {
    holder = std::make_unique<KrData::Container>(Kr::KrID("Kept"), nullptr, field.getFieldType());
    std::unique_ptr<KrData::FieldBase> copy(field.clone(nullptr));
    if (!copy) return nullptr;
    KrData::_dropLinks(*copy);
    return holder->_addField(copy.get()) ? copy.release() : nullptr;
}

bool isConnected(const KrData::FieldBase& source, const KrData::FieldBase& sink) {
    const auto connections = source._getOutgoingConnections();
    return std::any_of(connections.begin(), connections.end(),
                       [&](const auto* connection) { return connection->getSink() == &sink; });
}

/// The nearest instance that a content ID is derived from, or null.
KrObject* findInstance(const KrContentID& id) {
    const auto& chain = id.getParentInstances();
    for (auto length = chain.size(); length-- > 1;) {
        auto holder = chain.front();
        for (std::size_t i = 1; i < length; ++i)
            holder = KrContentID::createFromParentInstance(holder, chain[i]);
        auto* object = asObject(KrContentRegistry::instance().find(holder));
        if (object != nullptr && object->isInstance()) return object;
    }
    return nullptr;
}

}  // namespace

/// The parts of an instance, by both IDs.
class OutsideConnections::Parts {
public:
    explicit Parts(const KrObject& instance) {
        for (const auto* each : collect(instance)) {
            if (each->_isUnknownPlaceholder()) continue;  // has no more than own values
            _byRuntimeID.emplace(each->getContentID().getRuntimeID(), each);
            _byRawID.emplace(each->getContentID().getRawID(), each);
        }
    }
    [[nodiscard]] const KrExtension* find(const KrContentID& id) const {
        if (const auto found = _byRuntimeID.find(id.getRuntimeID()); found != _byRuntimeID.end()) return found->second;
        const auto found = _byRawID.find(id.getRawID());
        return found != _byRawID.end() ? found->second : nullptr;
    }

private:
    std::unordered_map<KrContentID::Identifier, const KrExtension*> _byRuntimeID;
    std::unordered_map<KrContentID::Identifier, const KrExtension*> _byRawID;
};

OutsideConnections::OutsideConnections() = default;
OutsideConnections::~OutsideConnections() = default;

// --- Keeping -------------------------------------------------------------------------------------------------------

void OutsideConnections::noteLeaving(const KrObject& instance, const KrExtension& extension) {
    const auto all = collect(extension);
    const Extensions leaving(all.begin(), all.end());
    for (const auto* each : all) {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the fields of an extension are no part of it
        _noteField(instance, *each, const_cast<KrExtension*>(each)->getFieldsContainer(), leaving);
    }
}

void OutsideConnections::_noteField(const KrObject& instance, const KrExtension& part, KrData::FieldBase& field,
                                    const Extensions& leaving) {
    const auto note = [&](const Kr::KrConnectionBase& connection, const KrExtension* other) {
        if (!connection.isValid() || other == nullptr) return;
        if (leaving.count(other) == 0) _keep(instance, part, field, connection);
    };
    for (const auto* connection : field._getOutgoingConnections())
        note(*connection, connection->getSinkOwner());
    if (field._hasIncomingConnections()) {
        for (const auto* connection : field._getIncomingConnections())
            note(*connection, connection->getSourceOwner());
    }
    for (auto* child : field.getChildren())
        _noteField(instance, part, *child, leaving);
}

void OutsideConnections::_keep(const KrObject& instance, const KrExtension& part, KrData::FieldBase& field,
                               const Kr::KrConnectionBase& connection) {
    const bool isPartSource = connection.getSource() == &field;
    auto* otherField = isPartSource ? connection.getSink() : connection.getSource();
    const auto* other = isPartSource ? connection.getSinkOwner() : connection.getSourceOwner();
    Kept kept{.part = {part.getContentID(), KrData::_getStoredPath(field), {}, pathBelow(instance, part)},
              .other = {other->getContentID(), KrData::_getStoredPath(*otherField), KrData::FieldReference(otherField),
                        other->getPath()},
              .isPartSource = isPartSource,
              .isEnabled = connection.isEnabled(),
              .isOrdering = connection._isRegisteredInSorter(),
              .source = {},
              .sink = {},
              .prototype = {}};
    auto* source = copyInto(kept.source, *connection.getSource());
    auto* sink = copyInto(kept.sink, *connection.getSink());
    if (source == nullptr || sink == nullptr) return;
    kept.prototype.reset(connection._createBetween(*source, *sink));
    if (!kept.prototype) return;
    kept.prototype->disable(true);
    _kept.push_back(std::move(kept));
}

// --- Making them again ---------------------------------------------------------------------------------------------

OutsideConnections::Outcome OutsideConnections::_tryToRestore(Kept& kept, const Parts& parts, const KrCloneMap& pairs) {
    auto* other = kept.other.field.get();
    if (other == nullptr) {
        other = findField(KrContentRegistry::instance().find(kept.other.extension), kept.other.path);
    }
    if (other == nullptr) return Outcome::kBelongsToOther;
    if (pairs.hasClone(other->getOwnerExtension())) return Outcome::kDone;
    auto* own = findField(parts.find(kept.part.extension), kept.part.path);
    if (own == nullptr) return Outcome::kStays;
    auto& source = kept.isPartSource ? *own : *other;
    auto& sink = kept.isPartSource ? *other : *own;
    if (isConnected(source, sink)) return Outcome::kDone;
    std::unique_ptr<Kr::KrConnectionBase> made(kept.prototype->_createBetween(source, sink));
    if (!made) return Outcome::kStays;
    auto* connection = made.get();
    auto* keeper = made->getSinkOwner() != nullptr ? made->getSinkOwner() : made->getSourceOwner();
    if (keeper == nullptr) return Outcome::kStays;
    keeper->getFieldsContainer()._ownConnection(std::move(made));
    if (kept.isEnabled || kept.isOrdering) connection->enable(kept.isEnabled);
    if (!kept.isEnabled && kept.isOrdering) connection->disable(false);
    return Outcome::kDone;
}

void OutsideConnections::_handOver(Kept kept) {
    auto* instance = findInstance(kept.other.extension);
    if (instance == nullptr) return;  // the other end has been destroyed for good
    std::swap(kept.part, kept.other);
    kept.isPartSource = !kept.isPartSource;
    instance->_getOutsideConnections()._kept.push_back(std::move(kept));
}

void OutsideConnections::restore(KrObject& instance, const KrCloneMap& pairs) {
    if (_kept.empty()) return;
    const Parts parts(instance);
    // Those who are notified may sync this instance: what is looked at belongs to nobody else meanwhile.
    auto open = std::exchange(_kept, {});
    for (auto& kept : open) {
        const auto outcome = _tryToRestore(kept, parts, pairs);
        if (outcome == Outcome::kStays) _kept.push_back(std::move(kept));
        if (outcome == Outcome::kBelongsToOther) _handOver(std::move(kept));
    }
}

std::vector<KrWaitingConnection> OutsideConnections::describe() const {
    std::vector<KrWaitingConnection> waiting;
    for (const auto& kept : _kept) {
        if (!kept.other.field.isAlive() && findInstance(kept.other.extension) == nullptr) continue;
        const auto& source = kept.isPartSource ? kept.part : kept.other;
        const auto& sink = kept.isPartSource ? kept.other : kept.part;
        waiting.push_back({source.extension, source.path, sink.extension, sink.path, kept.prototype.get(),
                           kept.isEnabled, kept.isOrdering});
    }
    return waiting;
}

void OutsideConnections::report(const KrObject& instance) {
    for (auto& kept : _kept) {
        if (std::exchange(kept.isReported, true)) continue;
        const auto part = instance.getPath() + "/" + kept.part.name + "." + kept.part.path;
        const auto outside = kept.other.name + "." + kept.other.path;
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrObject: the connection from %s to %s is kept, but cannot be made now: the definition of '%s' "
                       "does not have the part.\n",
                       (kept.isPartSource ? part : outside).c_str(), (kept.isPartSource ? outside : part).c_str(),
                       instance.getName().c_str());
    }
}

}  // namespace KrSim::detail

namespace KrSim {

std::vector<KrWaitingConnection> KrObject::_getWaitingConnections() const {
    return _outsideConnections ? _outsideConnections->describe() : std::vector<KrWaitingConnection>();
}

}  // namespace KrSim
